#include <gmock/gmock.h>

#include "FilterCheck/Output/HtmlWriter.h"
#include "FilterCheck/Output/Output.h"
#include "Tools/FilterCheck/ExampleReport.h"

namespace {

using FilterCheck::HtmlPage;
using FilterCheck::HtmlWriter;
using FilterCheck::Report;
using FilterCheck::Severity;
using KuvTest::ExampleReport;
using KuvTest::ExampleWhatIf;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(HtmlWriter, EscapesText) {
  HtmlWriter html;
  html.Element("p", "<a href='x'>&\"</a>", {{"title", "\"><b>&'"}});
  EXPECT_EQ(html.Html(),
            "<p title=\"&quot;&gt;&lt;b&gt;&amp;&#39;\">&lt;a href=&#39;x&#39;&gt;&amp;&quot;&lt;/a&gt;</p>");
}

TEST(HtmlWriter, ConvertsBackticksToCode) {
  HtmlWriter html;
  html.TextWithCode("a `b<` c `d` e");
  EXPECT_EQ(html.Html(), "a <code>b&lt;</code> c <code>d</code> e");
}

TEST(HtmlWriter, KeepsSingleBacktick) {
  HtmlWriter html;
  html.TextWithCode("a `b");
  EXPECT_EQ(html.Html(), "a `b");
}

TEST(HtmlPage, HasNoExternalReferences) {
  const std::string page = HtmlPage(ExampleWhatIf());
  for (const char* const reference :
       {"<script", "<link", "<img", "<iframe", "src=", "href=", "url(", "@import", "http://", "https://"}) {
    EXPECT_THAT(page, Not(HasSubstr(reference)));
  }
  EXPECT_THAT(page, HasSubstr("default-src &#39;none&#39;"));
}

TEST(HtmlPage, EscapesForeignTextEverywhere) {
  constexpr char kForeign[] = "<script>alert(\"1\")</script>'&";
  Report report = ExampleWhatIf();
  report.host.name = report.time = kForeign;
  report.whatIfSettings = {{FilterCheck::FindSetting("Host"), L"<script>alert(\"1\")</script>'&"}};
  for (FilterCheck::Situation* const situation : {&report.now, &*report.whatIf}) {
    for (Tools::Provider& provider : situation->decision.providers) provider.name = kForeign;
    for (FilterCheck::Decision& decision : situation->decision.decisions) {
      decision.because.decidedBy = decision.because.value = kForeign;
    }
    for (FilterCheck::SettingState& state : situation->settings) {
      state.effective = situation == &report.now ? std::string{kForeign} + "today" : kForeign;
    }
    situation->findings = {{kForeign, Severity::Warning, kForeign, kForeign, kForeign}};
  }
  report.registration.filter[0].module = report.registration.filter[0].threadingModel = kForeign;
  report.registration.others = {{false, kForeign, kForeign, kForeign, true}};
  report.registration.excludedProviders = report.registration.defaultProvider = kForeign;
  const std::string page = HtmlPage(report);
  EXPECT_THAT(page, Not(HasSubstr("<script")));
  EXPECT_THAT(page, Not(HasSubstr("</script")));
  EXPECT_THAT(page, Not(HasSubstr("alert(\"")));
  EXPECT_THAT(page, HasSubstr("<h1>&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;&#39;&amp;</h1>"));
  EXPECT_THAT(page, HasSubstr("Assuming Host=&lt;script&gt;"));
}

TEST(HtmlPage, ClosesElementsInOrder) {
  const std::string page = HtmlPage(ExampleWhatIf());
  std::vector<std::string> open;
  for (std::size_t start = page.find('<'); start != std::string::npos; start = page.find('<', start + 1)) {
    const std::size_t end = page.find_first_of(" >", start);
    const std::string tag = page.substr(start + 1, end - start - 1);
    if (tag == "!DOCTYPE" || tag == "meta" || tag == "wbr") continue;
    if (tag[0] != '/') {
      open.push_back(tag);
      continue;
    }
    ASSERT_FALSE(open.empty());
    EXPECT_EQ(tag, "/" + open.back());
    open.pop_back();
  }
  EXPECT_TRUE(open.empty());
}

TEST(HtmlPage, ShowsBothVerdicts) {
  const Report report = ExampleWhatIf();
  const std::string page = HtmlPage(report);
  EXPECT_THAT(page, HasSubstr("<div class=\"verdict bad\" data-code=\"2\">"));
  EXPECT_THAT(page, HasSubstr("<p>With these assumptions: " + report.whatIf->verdict.text + "</p>"));
  EXPECT_THAT(page, HasSubstr(">Today: " + report.now.verdict.text + "</p>"));
}

TEST(HtmlPage, MarksChanges) {
  const std::string page = HtmlPage(ExampleWhatIf());
  EXPECT_THAT(page, HasSubstr("+ appears"));
  EXPECT_THAT(page, HasSubstr("\xE2\x88\x92 disappears"));
  EXPECT_THAT(page, HasSubstr("changes; today 0 (default)"));
  const std::string today = HtmlPage(ExampleReport());
  EXPECT_THAT(today, Not(HasSubstr("appears")));
  EXPECT_THAT(today, Not(HasSubstr("changes;")));
}

}  // namespace
