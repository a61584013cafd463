#include "FilterCheck/Options.h"

#include <sstream>

#include <gmock/gmock.h>

#include "Common/ToolError.h"
#include "KuvAuth/Support/Text.h"

namespace {

using FilterCheck::Demand;
using FilterCheck::Options;
using FilterCheck::ParseOptions;
using FilterCheck::WhatIfKey;

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
  EXPECT_FALSE(options.help || options.json || options.event || options.noColor);
  EXPECT_EQ(options.htmlFile, L"");
  EXPECT_FALSE(options.version);
  EXPECT_TRUE(options.whatIfSettings.empty());
  EXPECT_EQ(options.demand, (Demand{true, true, false}));
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

TEST(FilterCheckOptions, AcceptEventWithOtherOutput) {
  const Options options = ParseOptions({L"--event", L"--json", L"--require", L"remote"});
  EXPECT_TRUE(options.event);
  EXPECT_TRUE(options.json);
}

TEST(FilterCheckOptions, RejectEventOfAssumedState) {
  for (const std::vector<std::wstring>& arguments :
       {std::vector<std::wstring>{L"--event", L"--what-if", L"RdpOnly=1"},
        {L"--what-if", L"RdpOnly=1", L"--event"}}) {
    EXPECT_EQ(UsageError(arguments),
              "--event records the current state and cannot be combined with --what-if; see --help");
  }
}

TEST(FilterCheckOptions, StopAtHelp) {
  for (const wchar_t* const option : {L"--help", L"-h", L"/?"}) {
    EXPECT_TRUE(ParseOptions({option, L"--bogus"}).help) << ::testing::PrintToString(std::wstring{option});
  }
}

TEST(FilterCheckOptions, ParseRequiredKinds) {
  const std::pair<std::vector<std::wstring>, Demand> rows[] = {
      {{L"--require", L"console"}, {true, false, false}},
      {{L"--require", L"remote"}, {false, true, false}},
      {{L"--require", L"elevation,console"}, {true, false, true}},
      {{L"--require", L"console,remote,elevation"}, {true, true, true}},
      {{L"--require", L"elevation", L"--json", L"--require", L"remote"}, {false, true, true}},
  };
  for (const auto& [arguments, demand] : rows) {
    EXPECT_EQ(ParseOptions(arguments).demand, demand) << ::testing::PrintToString(arguments);
  }
}

TEST(FilterCheckOptions, RejectWrongLists) {
  for (const std::string list :
       {"Console", "rdp", "console,", ",", "console,,remote", " console", "console;remote", "\xC3\xA4"}) {
    EXPECT_EQ(UsageError({L"--require", Utf8ToWide(list)}),
              "--require requires a list of console, remote and elevation, not '" + list + "'; see --help");
  }
  EXPECT_EQ(UsageError({L"--require", L"remote,remote"}),
            "--require names remote more than once; see --help");
  EXPECT_EQ(UsageError({L"--require", L"remote", L"--require", L"remote"}),
            "--require names remote more than once; see --help");
  EXPECT_EQ(UsageError({L"--require"}), "--require requires a value; see --help");
}

TEST(FilterCheckOptions, ParseKeysOfWhatIfValues) {
  struct {
    const wchar_t* text;
    WhatIfKey key;
    const wchar_t* value;
  } const rows[] = {
      {L"Host=a", WhatIfKey::Effective, L"a"},
      {L"Policy:Host=a", WhatIfKey::Policy, L"a"},
      {L"Local:Host=a", WhatIfKey::Local, L"a"},
      {L"POLICY:host=a:b=c", WhatIfKey::Policy, L"a:b=c"},
      {L"local:HOST=", WhatIfKey::Local, L""},
      // Some shells remove the quotation marks, others do not.
      {L"Policy:Host=\"\"", WhatIfKey::Policy, L""},
      {L"Host=\"\"", WhatIfKey::Effective, L"\"\""},
      {L"Policy:Host=-", WhatIfKey::Policy, L"-"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring{row.text}));
    const Options options = ParseOptions({L"--what-if", row.text});
    ASSERT_EQ(options.whatIfSettings.size(), 1u);
    EXPECT_EQ(options.whatIfSettings[0].setting->name, "Host");
    EXPECT_EQ(options.whatIfSettings[0].key, row.key);
    EXPECT_EQ(options.whatIfSettings[0].value, row.value);
  }
}

TEST(FilterCheckOptions, AcceptSettingOncePerKey) {
  EXPECT_EQ(ParseOptions({L"--what-if", L"RdpOnly=1", L"--what-if", L"Policy:RdpOnly=0", L"--what-if",
                          L"Local:RdpOnly=2"})
                .whatIfSettings.size(),
            3u);
  EXPECT_EQ(UsageError({L"--what-if", L"Policy:RdpOnly=1", L"--what-if", L"policy:rdponly=1"}),
            "--what-if names Policy:RdpOnly more than once; see --help");
}

TEST(FilterCheckOptions, ShowVersion) {
  EXPECT_TRUE(ParseOptions({L"--version"}).version);
  std::ostringstream out;
  FilterCheck::PrintVersion(out);
  EXPECT_THAT(out.str(), ::testing::MatchesRegex("KuvFilterCheck \\d+\\.\\d+\\.\\d+\\.\\d+\n"));
}

TEST(FilterCheckOptions, ReportWrongUsageInOneLine) {
  const std::string tail = "; see --help";
  EXPECT_EQ(UsageError({L"--bogus"}), "unknown option '--bogus'" + tail);
  EXPECT_EQ(UsageError({L"--a\nb"}), "unknown option '--a?b'" + tail);
  EXPECT_EQ(UsageError({L"--html"}), "--html requires a value" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L""}), "--what-if requires a value" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"RdpOnly"}), "--what-if requires Setting=value" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"Bogus=1"}), "--what-if: unknown setting 'Bogus'" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"Policy:Bogus=1"}),
            "--what-if: unknown setting 'Policy:Bogus'" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"User:RdpOnly=1"}),
            "--what-if: unknown setting 'User:RdpOnly'" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"Policy:=1"}), "--what-if: unknown setting 'Policy:'" + tail);
  EXPECT_EQ(UsageError({L"--what-if", L"RdpOnly=1", L"--what-if", L"RDPONLY=2"}),
            "--what-if names RdpOnly more than once" + tail);
}

TEST(FilterCheckOptions, DoNotReportSecrets) {
  EXPECT_EQ(UsageError({L"--what-if", L"SKey:letters"}).find("letters"), std::string::npos);
  EXPECT_EQ(UsageError({L"--what-if", L"SKey=", L"letters"}),
            "unexpected argument that is not an option; see --help");
  EXPECT_EQ(UsageError({L"--what-if=SKey=letters"}), "unknown option '--what-if'; see --help");
  EXPECT_EQ(UsageError({L"--SKey=letters"}), "unknown option '--SKey'; see --help");
  EXPECT_EQ(UsageError({L"--what-if", L"Policy:SKey letters=x"}).find("letters"), std::string::npos);
  EXPECT_EQ(UsageError({L"--require", L"SKey=letters"}).find("letters"), std::string::npos);
  EXPECT_EQ(UsageError({L"-letters"}), "unexpected argument that is not an option; see --help");
}

TEST(FilterCheckOptions, ShowHelpWithExitCodesAndExamples) {
  std::ostringstream out;
  FilterCheck::PrintUsage(out);
  std::istringstream lines{out.str()};
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 90u) << line;
  for (const char* const part :
       {"--require LIST", "--what-if Setting=value", "Policy:Setting=value", "--version", "-h, /?", "--json",
        "--html FILE", "--event", "--no-color", "NO_COLOR", "--help", "\n  0  ", "\n  1  ", "\n  2  ",
        "\n  3  ", "with --what-if, for the assumed settings", "\nExamples\n"}) {
    EXPECT_THAT(out.str(), ::testing::HasSubstr(part));
  }
}

}  // namespace
