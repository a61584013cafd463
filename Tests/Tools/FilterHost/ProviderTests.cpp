#include <typeinfo>

#include <gmock/gmock.h>

#include "Common/Identifier.h"
#include "Common/ProviderList.h"
#include "Common/ToolError.h"
#include "Support/ImportHook.h"
#include "Tools/FilterHost/HostFixture.h"

namespace {

using Tools::ProviderList;
using Tools::ReadInstalledProviders;
using Tools::ReadProviderFile;

using Rows = std::vector<std::pair<std::string, std::string>>;

constexpr char kFirst[] = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
constexpr char kSecond[] = "{11111111-2222-3333-4444-555555555555}";

Rows Texts(const ProviderList& providers) {
  Rows rows;
  for (const auto& provider : providers) {
    rows.emplace_back(Tools::IdentifierText(provider.identifier), provider.name);
  }
  return rows;
}

template <typename Error, typename Operation>
void ExpectError(const std::string& message, Operation operation) {
  try {
    operation();
    ADD_FAILURE() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.what(), message);
  }
}

class ProviderFile : public ::testing::Test {
 protected:
  Rows Read(const std::string& text) const { return Texts(ReadProviderFile(folder.Write(L"p.txt", text))); }

  void ExpectMalformed(const std::string& text, const std::string& messageEnd) const {
    const std::wstring path = folder.Write(L"p.txt", text);
    ExpectError<Tools::MalformedIdentifierError>(std::string{path.begin(), path.end()} + messageEnd,
                                                 [&] { ReadProviderFile(path); });
  }

  KuvTest::TestFolder folder;
};

TEST_F(ProviderFile, AcceptsIdentifiersWithOptionalNames) {
  const std::string first = kFirst;
  const std::string second = kSecond;
  struct {
    const char* name;
    std::string text;
    Rows rows;
  } const rows[] = {
      {"two lines", first + " Pass Word\n" + second + "\n", {{kFirst, "Pass Word"}, {kSecond, ""}}},
      {"lowercase", "{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}", {{kFirst, ""}}},
      {"blank lines and comments", "# first\n\n \t \n  # second\n" + first + "\n", {{kFirst, ""}}},
      {"hash in a name", first + " No #1\n", {{kFirst, "No #1"}}},
      {"byte order mark, white space and CRLF",
       "\xEF\xBB\xBF \t" + first + "\t \xC3\x84 \r\n" + second + "\r\n",
       {{kFirst, "\xC3\x84"}, {kSecond, ""}}},
  };
  for (const auto& row : rows) EXPECT_EQ(Read(row.text), row.rows) << row.name;
}

TEST_F(ProviderFile, ReportsLineOfMalformedIdentifier) {
  ExpectMalformed("# comment\n" + std::string{kFirst} + "\n\n{60B78E88} Short\n",
                  ":4: '{60B78E88} Short' does not start with a braced identifier");
}

TEST_F(ProviderFile, RejectsOtherForms) {
  const std::pair<std::string, std::string> rows[] = {
      {"PasswordProvider", "PasswordProvider"},
      {"60B78E88-EAD8-445C-9CFD-0B87F74EA6CD", "60B78E88-EAD8-445C-9CFD-0B87F74EA6CD"},
      {"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CG}", "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CG}"},
      {"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}Name", "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}Name"},
      {"{60B78E88EEAD8-445C-9CFD-0B87F74EA6CD}", "{60B78E88EEAD8-445C-9CFD-0B87F74EA6CD}"},
      // UTF-16, and text after a NUL.
      {{"{\0006\0\r\0\n\0", 8}, std::string{"{?6?"} + "??"},
      {{"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}\0x", 40}, std::string{kFirst} + "?x"},
  };
  for (const auto& [text, shown] : rows)
    ExpectMalformed(text, ":1: '" + shown + "' does not start with a braced identifier");
}

TEST_F(ProviderFile, RejectsFileWithoutProviders) {
  const std::wstring path = folder.Write(L"p.txt", "# comment\n");
  ExpectError<Tools::NoProvidersError>(
      "'" + std::string{path.begin(), path.end()} + "' contains no providers",
      [&] { ReadProviderFile(path); });
}

class InstalledProviderList : public KuvTest::FilterHostFixture {};

TEST_F(InstalledProviderList, UsesRegistryNames) {
  Install(L"{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}", L"Password\u00C4");
  EXPECT_EQ(Texts(ReadInstalledProviders()), (Rows{{kFirst, "Password\xC3\x84"}}));
}

TEST_F(InstalledProviderList, ContainsEachProvider) {
  Install(L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", L"P");
  Install(L"{11111111-2222-3333-4444-555555555555}", L"Q");
  EXPECT_THAT(Texts(ReadInstalledProviders()),
              ::testing::UnorderedElementsAre(std::pair{kFirst, "P"}, std::pair{kSecond, "Q"}));
}

TEST_F(InstalledProviderList, IgnoresNamesOfAnotherType) {
  InstalledProviders().Create();
  KuvTest::TestKey{HKEY_LOCAL_MACHINE,
                   L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers\\"
                   L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"}
      .SetDword(L"", 7);
  EXPECT_EQ(Texts(ReadInstalledProviders()), (Rows{{kFirst, ""}}));
}

TEST_F(InstalledProviderList, IgnoresOtherKeys) {
  Install(L"Settings", L"no provider");
  Install(L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", L"P");
  EXPECT_EQ(Texts(ReadInstalledProviders()), (Rows{{kFirst, "P"}}));
}

TEST_F(InstalledProviderList, RejectsMachineWithoutProviders) {
  const auto expectNone = [] {
    ExpectError<Tools::NoProvidersError>(
        "no credential providers are registered in "
        "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers",
        [] { ReadInstalledProviders(); });
  };
  expectNone();
  InstalledProviders().Create();
  expectNone();
}

TEST_F(InstalledProviderList, ReportsUnreadableRegistry) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  open.Answer([](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  try {
    ReadInstalledProviders();
    ADD_FAILURE() << "no error";
  } catch (const Tools::ToolError& error) {
    EXPECT_EQ(typeid(error), typeid(Tools::ToolError));
    EXPECT_THAT(error.what(),
                ::testing::AllOf(::testing::StartsWith("cannot open HKLM\\SOFTWARE\\Microsoft\\"),
                                 ::testing::EndsWith("(error 5)")));
  }
}

}  // namespace
