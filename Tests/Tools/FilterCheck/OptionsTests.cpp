#include "FilterCheck/Options.h"

#include <sstream>

#include <gmock/gmock.h>

#include "Common/ToolError.h"

namespace {

using FilterCheck::Options;
using FilterCheck::ParseOptions;

std::string UsageError(const std::vector<std::wstring>& arguments) {
  try {
    ParseOptions(arguments);
  } catch (const Tools::UsageError& error) {
    return error.what();
  }
  return "no error";
}

TEST(FilterCheckOptions, DefaultToTextOutput) {
  const Options options = ParseOptions({});
  EXPECT_FALSE(options.help || options.json || options.noColor);
  EXPECT_EQ(options.htmlFile, L"");
  EXPECT_TRUE(options.whatIfSettings.empty());
}

TEST(FilterCheckOptions, ParseAllOptions) {
  const Options options = ParseOptions({L"--json", L"--html", L"a.html", L"--no-color", L"--what-if",
                                        L"rdponly=1", L"--what-if", L"Host=a=b", L"--what-if", L"IKey="});
  EXPECT_TRUE(options.json);
  EXPECT_TRUE(options.noColor);
  EXPECT_EQ(options.htmlFile, L"a.html");
  ASSERT_EQ(options.whatIfSettings.size(), 3u);
  EXPECT_EQ(options.whatIfSettings[0].setting->name, "RdpOnly");
  EXPECT_EQ(options.whatIfSettings[0].value, L"1");
  EXPECT_EQ(options.whatIfSettings[1].setting->name, "Host");
  EXPECT_EQ(options.whatIfSettings[1].value, L"a=b");
  EXPECT_EQ(options.whatIfSettings[2].value, L"");
}

TEST(FilterCheckOptions, StopAtHelp) {
  EXPECT_TRUE(ParseOptions({L"--help", L"--bogus"}).help);
}

TEST(FilterCheckOptions, ReportWrongUsageInOneLine) {
  const std::string tail = "; see --help";
  EXPECT_EQ(UsageError({L"--bogus"}), "unknown option '--bogus'" + tail);
  EXPECT_EQ(UsageError({L"--a\nb"}), "unknown option '--a?b'" + tail);
  EXPECT_EQ(UsageError({L"--html"}), "--html requires a value" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L""}), "--what-if requires a value" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"RdpOnly"}), "--what-if requires Setting=value" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"Bogus=1"}), "--what-if: unknown setting 'Bogus'" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"RdpOnly=1", L"--what-if", L"RDPONLY=2"}),
            "--what-if names RdpOnly more than once" + tail);
}

TEST(FilterCheckOptions, DoNotReportSecrets) {
  EXPECT_EQ(UsageError({L"--what-if", L"SKey:letters"}).find("letters"), std::string::npos);
  EXPECT_EQ(UsageError({L"--what-if", L"SKey=", L"letters"}),
            "unexpected argument that is not an option; see --help");
  EXPECT_EQ(UsageError({L"-letters"}), "unexpected argument that is not an option; see --help");
}

TEST(FilterCheckOptions, ShowHelpWithExitCodesAndExamples) {
  std::ostringstream out;
  FilterCheck::PrintUsage(out);
  std::istringstream lines{out.str()};
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 90u) << line;
  for (const char* const part :
       {"--what-if Setting=value", "--json", "--html FILE", "--no-color", "NO_COLOR", "--help", "\n  0  ",
        "\n  1  ", "\n  2  ", "\n  3  ", "with --what-if, for the assumed settings", "\nExamples\n"}) {
    EXPECT_THAT(out.str(), ::testing::HasSubstr(part));
  }
}

}  // namespace
