#include "FilterSetup/Options.h"

#include <gmock/gmock.h>

#include "Common/ToolError.h"

namespace {

using FilterCheck::Demand;
using FilterSetup::Command;
using FilterSetup::Options;
using FilterSetup::ParseOptions;

using Arguments = std::vector<std::wstring>;

std::string UsageError(const Arguments& arguments) {
  try {
    ParseOptions(arguments);
  } catch (const Tools::UsageError& error) {
    return error.what();
  }
  return "no error";
}

TEST(FilterSetupOptions, ParseEachCommand) {
  EXPECT_EQ(ParseOptions({L"prepare"}).command, Command::Prepare);
  EXPECT_EQ(ParseOptions({L"set-key"}).command, Command::SetKey);
  EXPECT_EQ(ParseOptions({L"status"}).command, Command::Status);
  EXPECT_EQ(ParseOptions({L"disable"}).command, Command::Disable);
  EXPECT_EQ(ParseOptions({L"enable"}).command, Command::Enable);
  EXPECT_EQ(ParseOptions({L"--version"}).command, Command::Version);
}

TEST(FilterSetupOptions, HaveDefaults) {
  const Options options = ParseOptions({L"enable"});
  EXPECT_FALSE(options.dryRun || options.force || options.json);
  EXPECT_EQ(options.from, L"");
  EXPECT_EQ(options.demand, (Demand{true, true, false}));
}

TEST(FilterSetupOptions, ParseOptionsOfTheirCommand) {
  EXPECT_TRUE(ParseOptions({L"prepare", L"--dry-run"}).dryRun);
  EXPECT_TRUE(ParseOptions({L"disable", L"--dry-run"}).dryRun);
  EXPECT_TRUE(ParseOptions({L"status", L"--json"}).json);
  const Options key = ParseOptions({L"set-key", L"--from", L"a b.txt", L"--dry-run"});
  EXPECT_EQ(key.from, L"a b.txt");
  EXPECT_TRUE(key.dryRun);
  const Options enable =
      ParseOptions({L"enable", L"--force", L"--dry-run", L"--require", L"elevation,remote"});
  EXPECT_TRUE(enable.force);
  EXPECT_TRUE(enable.dryRun);
  EXPECT_EQ(enable.demand, (Demand{false, true, true}));
}

TEST(FilterSetupOptions, ShowHelpForEverySpelling) {
  for (const wchar_t* const help : {L"--help", L"-h", L"/?"}) {
    EXPECT_EQ(ParseOptions({help}).command, Command::Help);
    EXPECT_EQ(ParseOptions({L"disable", help}).command, Command::Help);
    EXPECT_EQ(ParseOptions({L"bogus", help}).command, Command::Help);
  }
}

TEST(FilterSetupOptions, ReportWrongUsageInOneLine) {
  const std::string tail = "; see --help";
  const std::string kinds = "--require requires a list of console, remote and elevation, not ";
  EXPECT_EQ(UsageError({}), "a command is required" + tail);
  EXPECT_EQ(UsageError({L"--dry-run"}),
            "the first argument must be prepare, set-key, status, disable or enable" + tail);
  EXPECT_EQ(UsageError({L"prepare", L"--force"}), "unknown option '--force'" + tail);
  EXPECT_EQ(UsageError({L"status", L"--dry-run"}), "unknown option '--dry-run'" + tail);
  EXPECT_EQ(UsageError({L"disable", L"--force"}), "unknown option '--force'" + tail);
  EXPECT_EQ(UsageError({L"disable", L"--version"}), "unknown option '--version'" + tail);
  EXPECT_EQ(UsageError({L"set-key", L"--from"}), "--from requires a value" + tail);
  EXPECT_EQ(UsageError({L"set-key", L"--from", L""}), "--from requires a value" + tail);
  for (const wchar_t* const list :
       {L"all", L"console,", L",console", L"Console", L"console, remote", L"consol"}) {
    EXPECT_THAT(UsageError({L"enable", L"--require", list}), testing::StartsWith(kinds));
  }
  EXPECT_EQ(UsageError({L"enable", L"--require", L"remote", L"--require", L"remote"}),
            "--require names remote more than once" + tail);
}

TEST(FilterSetupOptions, DoNotReportWhatMayBeTheKey) {
  for (const Arguments& arguments :
       {Arguments{L"hush"}, {L"set-key", L"hush"}, {L"set-key", L"--from", L"a", L"hush"}}) {
    EXPECT_THAT(UsageError(arguments), testing::Not(testing::HasSubstr("hush")));
  }
}

}  // namespace
