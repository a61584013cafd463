#include <gmock/gmock.h>

#include "FilterCheck/Output/HtmlWriter.h"
#include "FilterCheck/Output/Output.h"
#include "Tools/FilterCheck/ExampleReport.h"

namespace {

using FilterCheck::CoverageState;
using FilterCheck::HtmlPage;
using FilterCheck::HtmlWriter;
using FilterCheck::Obstacle;
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
  report.time = kForeign;
  report.whatIfSettings = {{FilterCheck::FindSetting("Host"), L"<script>alert(\"1\")</script>'&"}};
  for (FilterCheck::Situation* const situation : {&report.now, &*report.whatIf}) {
    for (Tools::Provider& provider : situation->decision.providers) provider.name = kForeign;
    for (FilterCheck::Decision& decision : situation->decision.decisions) {
      decision.because.decidedBy = decision.because.value = kForeign;
    }
    for (FilterCheck::SettingState& state : situation->settings) {
      state.effective = situation == &report.now ? std::string{kForeign} + "today" : kForeign;
    }
    for (FilterCheck::Coverage& coverage : situation->coverage) {
      coverage.ways = {{GUID{}, kForeign}};
      coverage.because.decidedBy = coverage.because.value = kForeign;
    }
    situation->verdict.text = kForeign;
    situation->findings = {{kForeign, Severity::Warning, kForeign, kForeign, kForeign}};
  }
  report.registration.filter[0].module = report.registration.filter[0].threadingModel = kForeign;
  report.registration.others = {{false, kForeign, kForeign, kForeign, true}};
  report.registration.excludedProviders = report.registration.defaultProvider = kForeign;
  report.host = {kForeign, kForeign, kForeign, kForeign, kForeign, true, kForeign};
  report.evidence.log = report.evidence.unreadable = report.evidence.lastRun = kForeign;
  report.evidence.errors = {{kForeign, kForeign}};
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
    if (tag == "!DOCTYPE" || tag == "meta") continue;
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

TEST(HtmlPage, OrdersSectionsByImportance) {
  const std::string page = HtmlPage(ExampleWhatIf());
  std::size_t last = 0;
  for (const char* const part : {"class=\"verdict ", "class=\"kinds\"", ">Findings<", ">What users see<",
                                 ">Settings<", "<details>", ">Machine<", ">Registration<", ">Log<"}) {
    const std::size_t position = page.find(part);
    ASSERT_NE(position, std::string::npos) << part;
    EXPECT_GT(position, last) << part;
    last = position;
  }
}

struct StateRow {
  CoverageState state;
  const char* words;
  const char* kind;
  const char* name;
};

void PrintTo(const StateRow& row, std::ostream* out) {
  *out << row.name;
}

class HtmlPageStates : public ::testing::TestWithParam<StateRow> {};

TEST_P(HtmlPageStates, ShowsStateWithItsRisk) {
  Report report = ExampleReport();
  report.now.coverage[1].state = GetParam().state;
  const std::string page = HtmlPage(report);
  const std::string card = page.substr(page.rfind("<article", page.find("data-kind=\"remote\"")));
  EXPECT_THAT(card, HasSubstr(std::string{"<article class=\"kind "} + GetParam().kind +
                              "\" data-kind=\"remote\" data-state=\"" + GetParam().name + "\">"));
  EXPECT_THAT(card.substr(0, card.find("</article>")), HasSubstr(std::string{"</span>"} + GetParam().words));
}

INSTANTIATE_TEST_SUITE_P(
    , HtmlPageStates,
    ::testing::Values(
        StateRow{CoverageState::Required, "Second factor required", "good", "required"},
        StateRow{CoverageState::Alternatives, "Required, with alternatives", "caution", "alternatives"},
        StateRow{CoverageState::Off, "Second factor off", "bad", "off"},
        StateRow{CoverageState::NoSecondFactor, "No second factor offered", "bad", "no-second-factor"},
        StateRow{CoverageState::Locked, "No one can sign in", "bad", "locked"}));

TEST(HtmlPage, NamesWaysWithWhatTheyAskFor) {
  Report report = ExampleReport();
  report.now.coverage[0].state = CoverageState::Alternatives;
  report.now.coverage[0].ways = {report.now.decision.providers[0], report.now.decision.providers[2]};
  EXPECT_THAT(HtmlPage(report), HasSubstr("<ul><li>Password (a password)</li>"
                                          "<li>{11111111-2222-3333-4444-555555555555} (unknown credentials)"
                                          "</li></ul>"));
}

TEST(HtmlPage, ShowsIdentifiersOfProvidersAsText) {
  const std::string page = HtmlPage(ExampleReport());
  EXPECT_THAT(page, HasSubstr("<code>{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}</code>"));
  EXPECT_THAT(page, Not(HasSubstr("title=\"")));
}

TEST(HtmlPage, ColorsProvidersOnlyOnProtectedScreens) {
  Report report = ExampleReport();
  report.now.decision.decisions[0].enabled[0] = true;
  const std::string page = HtmlPage(report);
  EXPECT_THAT(page, HasSubstr("<td class=\"cell shown caution\" data-scenario=\"logon\""));
  EXPECT_THAT(page, HasSubstr("<td class=\"cell shown good\" data-scenario=\"unlock\""));
  EXPECT_THAT(page, HasSubstr("<td class=\"cell shown\" data-scenario=\"credui\""));
}

class HtmlPageObstacles : public ::testing::TestWithParam<Obstacle> {};

TEST_P(HtmlPageObstacles, HaveNoGreenAndHeadTheMatrix) {
  Report report = ExampleReport();
  if (GetParam() == Obstacle::NotLoaded) report.registration.filter[0].inFilterList = false;
  if (GetParam() == Obstacle::ProviderExcluded) report.registration.kuvProviderExcluded = true;
  KuvTest::Conclude(report);
  ASSERT_EQ(report.obstacle, GetParam());
  const std::string page = HtmlPage(report);
  const std::string body = page.substr(page.find("<body>"));
  for (const char* const color : {"good\"", "caution\"", " good", " caution"}) {
    EXPECT_THAT(body, Not(HasSubstr(color)));
  }
  EXPECT_THAT(body, HasSubstr("<h2>What users would see if "));
}

INSTANTIATE_TEST_SUITE_P(, HtmlPageObstacles,
                         ::testing::Values(Obstacle::NotLoaded, Obstacle::ProviderExcluded),
                         [](const auto& row) {
                           return row.param == Obstacle::NotLoaded ? "NotLoaded" : "ProviderExcluded";
                         });

TEST(HtmlPage, FoldsSettingsAtTheirDefault) {
  const std::string page = HtmlPage(ExampleReport());
  const std::size_t fold = page.find("<details>");
  EXPECT_THAT(page, HasSubstr("<summary>Settings at their default (1)</summary>"));
  EXPECT_LT(page.find("data-setting=\"Host\""), fold);
  EXPECT_GT(page.find("data-setting=\"RdpOnly\""), fold);
  // A stored value that is ignored.
  Report ignored = ExampleReport();
  ignored.now.settings[2].local = FilterCheck::StoredValue{REG_SZ, 4, "1"};
  const std::string ignoredPage = HtmlPage(ignored);
  EXPECT_LT(ignoredPage.find("data-setting=\"RdpOnly\""), ignoredPage.find("<details>"));
  const std::string whatIf = HtmlPage(ExampleWhatIf());
  EXPECT_LT(whatIf.find("data-setting=\"RdpOnly\""), whatIf.find("<details>"));
}

}  // namespace
