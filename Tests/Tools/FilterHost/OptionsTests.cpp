#include "FilterHost/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tools/FilterHost/HostFixture.h"

namespace {

using FilterHost::Options;
using FilterHost::ParseOptions;
using KuvTest::HostRun;
using KuvTest::RunHost;
using Tools::Scenario;

using Row = std::tuple<std::string, int, DWORD>;

std::vector<Row> Rows(const Options& options) {
  std::vector<Row> rows;
  for (const Scenario& scenario : options.scenarios) {
    rows.emplace_back(std::string{scenario.name}, static_cast<int>(scenario.usage), scenario.flags);
  }
  return rows;
}

TEST(FilterHostOptions, DefaultToEveryScenario) {
  EXPECT_EQ(Rows(ParseOptions({})), (std::vector<Row>{{"logon", 1, 0},
                                                      {"unlock", 2, 0},
                                                      {"change-password", 3, 0},
                                                      {"credui", 4, 0},
                                                      {"elevation", 4, 0x100},
                                                      {"plap", 5, 0}}));
}

TEST(FilterHostOptions, HaveDefaults) {
  const Options options = ParseOptions({});
  EXPECT_TRUE(options.allow);
  EXPECT_EQ(options.dll, L"");
  EXPECT_EQ(options.providersFile, L"");
  EXPECT_FALSE(options.remoteCredential.has_value());
  EXPECT_FALSE(options.help || options.json || options.log);
}

TEST(FilterHostOptions, SelectScenariosAndReplaceTheirFlags) {
  const struct {
    const char* name;
    std::vector<std::wstring> arguments;
    std::vector<Row> rows;
  } rows[] = {
      {"table order", {L"--scenario", L"plap", L"--scenario", L"unlock"}, {{"unlock", 2, 0}, {"plap", 5, 0}}},
      {"repeated once", {L"--scenario", L"plap", L"--scenario", L"plap"}, {{"plap", 5, 0}}},
      {"flags",
       {L"--flags", L"5", L"--scenario", L"elevation", L"--scenario", L"plap"},
       {{"elevation", 4, 5}, {"plap", 5, 5}}},
  };
  for (const auto& row : rows) EXPECT_EQ(Rows(ParseOptions(row.arguments)), row.rows) << row.name;
}

TEST(FilterHostOptions, AcceptDecimalAndHexadecimalFlags) {
  const std::pair<const wchar_t*, DWORD> rows[] = {
      {L"0", 0}, {L"256", 256}, {L"0x100", 256}, {L"0XfF", 255}, {L"010", 10}, {L"4294967295", 0xFFFFFFFF}};
  for (const auto& [text, flags] : rows) {
    SCOPED_TRACE(::testing::PrintToString(text));
    EXPECT_EQ(ParseOptions({L"--flags", text}).scenarios.front().flags, flags);
  }
}

TEST(FilterHostOptions, ParseOtherValues) {
  const Options options =
      ParseOptions({L"--dll", L"a.dll", L"--providers", L"b.txt", L"--allow", L"0", L"--remote-credential",
                    L"{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}", L"--json", L"--log"});
  EXPECT_EQ(options.dll, L"a.dll");
  EXPECT_EQ(options.providersFile, L"b.txt");
  EXPECT_FALSE(options.allow);
  const GUID password{0x60B78E88, 0xEAD8, 0x445C, {0x9C, 0xFD, 0x0B, 0x87, 0xF7, 0x4E, 0xA6, 0xCD}};
  ASSERT_TRUE(options.remoteCredential.has_value());
  EXPECT_EQ(*options.remoteCredential, password);
  EXPECT_TRUE(options.json && options.log);
}

void ExpectRejected(const std::vector<std::wstring>& arguments, int exitCode, const std::string& message) {
  const HostRun run = RunHost(arguments);
  EXPECT_EQ(run.exitCode, exitCode);
  EXPECT_EQ(run.err, "KuvFilterHost: " + message + "\n");
  EXPECT_EQ(run.out, "");
}

TEST(FilterHostOptions, RejectWrongUsage) {
  struct {
    const char* name;
    std::vector<std::wstring> arguments;
    const char* message;
  } const rows[] = {
      {"an unknown option", {L"--bogus"}, "unknown option '--bogus'"},
      {"an argument without an option", {L"logon"}, "unexpected argument that is not an option"},
      {"a control character", {L"--b\n\x1B\x7Fx"}, "unknown option '--b???x'"},
      {"an unknown scenario",
       {L"--scenario", L"Logon"},
       "--scenario requires one of logon, unlock, change-password, credui, elevation, plap, not 'Logon'"},
      {"an allow flag of another kind", {L"--allow", L"2"}, "--allow requires 0 or 1, not '2'"},
      {"a value that is missing", {L"--dll"}, "--dll requires a value"},
      {"a value that is empty", {L"--providers", L""}, "--providers requires a value"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectRejected(row.arguments, 2, std::string{row.message} + "; see --help");
  }
}

TEST(FilterHostOptions, RejectInvalidFlags) {
  for (const std::string text :
       {"x", "0x", "-1", "+1", " 1", "1 ", "1x", "0x1g", "4294967296", "0x100000000"}) {
    SCOPED_TRACE(text);
    ExpectRejected(
        {L"--flags", {text.begin(), text.end()}}, 2,
        "--flags requires a 32-bit number, decimal or hexadecimal with 0x, not '" + text + "'; see --help");
  }
}

TEST(FilterHostOptions, RejectMalformedIdentifiers) {
  for (const std::string text :
       {"PasswordProvider", "60B78E88-EAD8-445C-9CFD-0B87F74EA6CD", "{60B78E88-EAD8-445C-9CFD-0B87F74EA6C}",
        "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CG}", "(60B78E88-EAD8-445C-9CFD-0B87F74EA6CD)",
        "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} "}) {
    SCOPED_TRACE(text);
    ExpectRejected({L"--remote-credential", {text.begin(), text.end()}}, 3,
                   "--remote-credential: '" + text + "' is not a braced identifier");
  }
}

TEST(FilterHostOptions, ShowHelpForEveryOption) {
  EXPECT_EQ(RunHost({L"-h"}).out, RunHost({L"--help"}).out);
  EXPECT_EQ(RunHost({L"/?"}).out, RunHost({L"--help"}).out);
  const HostRun run = RunHost({L"--help", L"--bogus"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  for (const char* const text : {"--dll PATH", "--providers FILE", "--scenario NAME", "--flags N",
                                 "--allow 0|1", "--remote-credential CLSID", "--json", "--log", "--help"}) {
    EXPECT_THAT(run.out, ::testing::HasSubstr("\n  " + std::string{text}));
  }
}

TEST(FilterHostOptions, ShowHelpForEveryExitCode) {
  EXPECT_THAT(RunHost({L"--help"}).out,
              ::testing::EndsWith("\nExit codes\n"
                                  "  0  the filter returned its decisions\n"
                                  "  1  other failure\n"
                                  "  2  unknown option or bad value\n"
                                  "  3  malformed identifier, in the providers file or "
                                  "on the command line\n"
                                  "  4  cannot read file\n"
                                  "  5  no providers\n"
                                  "  6  filter not registered\n"
                                  "  7  cannot load filter DLL\n"
                                  "  8  DLL has no DllGetClassObject\n"
                                  "  9  cannot create filter\n"));
}

}  // namespace
