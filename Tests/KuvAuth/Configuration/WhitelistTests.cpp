#include <objbase.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "RecordFixture.h"
#include "Support/ImportHook.h"

namespace {

using namespace std::string_literals;
using KuvTest::Info;
using KuvTest::kLocalPath;
using KuvTest::kPolicyPath;
using KuvTest::LogLine;
using KuvTest::LogLines;

using Texts = std::vector<std::wstring>;
using Digits = std::vector<unsigned long>;

constexpr std::size_t kLimit = 760;

const LogLine kFound = Info("Found whitelist registry key, replacing default whitelisted providers.");

LogLine Added(const std::string& text) {
  return Info("Adding provider " + text + " to the WhiteList");
}

LogLine Ignored(const std::string& text) {
  return Info("Ignored invalid whitelist: " + text);
}

// The identifiers of these tests differ in their first field, which counts from 1.
std::wstring Identifier(unsigned number) {
  return L"{0000000" + std::to_wstring(number) + L"-2222-3333-4444-ABCDEF012345}";
}

std::string NarrowIdentifier(unsigned number) {
  return "{0000000" + std::to_string(number) + "-2222-3333-4444-ABCDEF012345}";
}

class Whitelist : public KuvTest::RecordFixture {
 protected:
  void SetList(const std::string& path, const std::wstring& units, std::size_t size) {
    fake.Set(path, "ProvidersWhitelist", REG_MULTI_SZ, units.data(), size);
  }
  void SetList(const std::string& path, const std::wstring& units) {
    SetList(path, units, units.size() * sizeof(wchar_t));
  }
  void SetList(const std::wstring& units) { SetList(kLocalPath, units); }

  void ReadLocalKey(IRegistry& from) {
    log.Clear();
    record.ReadKey(from, "Software\\Kuvant\\KuvCredProv");
  }
  void ReadLocalKey() { ReadLocalKey(fake); }

  void Load() {
    log.Clear();
    record.Load(fake);
  }

  // The list as the first fields of its identifiers; the other fields are checked here.
  Digits List() const {
    Digits digits;
    for (const GUID& provider : record.ProvidersWhitelist) {
      GUID expected{provider.Data1, 0x2222, 0x3333, {0x44, 0x44, 0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45}};
      EXPECT_TRUE(provider == expected);
      digits.push_back(provider.Data1);
    }
    return digits;
  }

  Registry platform;
};

TEST_F(Whitelist, TakesTheIdentifiersInTheirOrder) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {Identifier(2), Identifier(1), Identifier(3)});
  ReadLocalKey(platform);
  EXPECT_EQ(List(), (Digits{2, 1, 3}));
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Added("{00000002-2222-3333-4444-ABCDEF012345}"),
                                   Added("{00000001-2222-3333-4444-ABCDEF012345}"),
                                   Added("{00000003-2222-3333-4444-ABCDEF012345}")}));
}

TEST_F(Whitelist, TakesNineIdentifiers) {
  Texts texts;
  LogLines expected{kFound};
  Digits digits;
  for (unsigned number = 1; number <= 9; ++number) {
    texts.push_back(Identifier(number));
    digits.push_back(number);
    expected.push_back(Added(NarrowIdentifier(number)));
  }
  registry.Local().SetTexts(L"ProvidersWhitelist", texts);
  ReadLocalKey(platform);
  EXPECT_EQ(List(), digits);
  EXPECT_EQ(log.Lines(), expected);
}

TEST_F(Whitelist, TenIdentifiersAreTooManyAndLeaveTheListAlone) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {Identifier(7)});
  ReadLocalKey(platform);
  registry.Local().SetTexts(L"ProvidersWhitelist", Texts(10, Identifier(1)));
  ReadLocalKey(platform);
  EXPECT_EQ(List(), Digits{7});
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(Whitelist, EndsAtItsLimitToTheByte) {
  const std::wstring units = Identifier(1) + L'\0' + std::wstring(1000, L'\0');
  for (const std::size_t size : {kLimit - 1, kLimit}) {
    SCOPED_TRACE(size);
    record = {};
    SetList(kLocalPath, units, size);
    ReadLocalKey();
    EXPECT_EQ(List(), Digits{1});
  }
  for (const std::size_t size : {kLimit + 1, kLimit + 2, 2 * kLimit}) {
    SCOPED_TRACE(size);
    record = {};
    SetList(kLocalPath, units, size);
    ReadLocalKey();
    EXPECT_EQ(List(), Digits{});
    EXPECT_EQ(log.Lines(), LogLines{});
  }
}

TEST_F(Whitelist, KeepsDuplicates) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {Identifier(1), Identifier(2), Identifier(1)});
  ReadLocalKey(platform);
  EXPECT_EQ(List(), (Digits{1, 2, 1}));
}

TEST_F(Whitelist, TakesLowerCaseAndLogsItAsItStands) {
  SetList(L"{00000001-2222-3333-4444-abcdef012345}\0\0"s);
  ReadLocalKey();
  EXPECT_EQ(List(), Digits{1});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Added("{00000001-2222-3333-4444-abcdef012345}")}));
}

TEST_F(Whitelist, SkipsABadEntryAmongGoodOnes) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {Identifier(1), L"KuvCredProv", Identifier(2)});
  ReadLocalKey(platform);
  EXPECT_EQ(List(), (Digits{1, 2}));
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Added(NarrowIdentifier(1)), Ignored("KuvCredProv"),
                                   Added(NarrowIdentifier(2))}));
}

TEST_F(Whitelist, IsEmptyIfEveryEntryIsBad) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {L"{}", L" {00000001-2222-3333-4444-ABCDEF012345}",
                                                    L"{00000001-2222-3333-4444-ABCDEF01234}",
                                                    L"{00000001-2222-3333-4444-ABCDEF01234G}"});
  ReadLocalKey(platform);
  EXPECT_EQ(List(), Digits{});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Ignored("{}"), Ignored(" {00000001-2222-3333-4444-ABCDEF012345}"),
                                   Ignored("{00000001-2222-3333-4444-ABCDEF01234}"),
                                   Ignored("{00000001-2222-3333-4444-ABCDEF01234G}")}));
}

TEST_F(Whitelist, LeavesTheDecisionToThePlatform) {
  std::vector<std::wstring> asked;
  KUV_IMPORT_HOOK(parse, CLSIDFromString);
  parse.Answer([&](const wchar_t* text, CLSID* provider) -> HRESULT {
    asked.emplace_back(text);
    *provider = {6, 0x2222, 0x3333, {0x44, 0x44, 0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45}};
    if (asked.back() == L"any text") return S_OK;
    return asked.back() == L"success of another kind" ? S_FALSE : REGDB_E_WRITEREGDB;
  });
  SetList(L"success of another kind\0any text\0registered elsewhere\0\0"s);
  ReadLocalKey();
  EXPECT_EQ(asked, (Texts{L"success of another kind", L"any text", L"registered elsewhere"}));
  EXPECT_EQ(List(), Digits{6});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Ignored("success of another kind"), Added("any text"),
                                   Ignored("registered elsewhere")}));
}

TEST_F(Whitelist, EmptyValueEmptiesTheList) {
  const std::wstring nothing(3, L'\0');
  for (const std::size_t size : {0u, 1u, 2u, 4u, 6u}) {
    SCOPED_TRACE(size);
    record.ProvidersWhitelist.assign(2, GUID{});
    SetList(kLocalPath, nothing, size);
    ReadLocalKey();
    EXPECT_EQ(List(), Digits{});
    EXPECT_EQ(log.Lines(), LogLines{kFound});
  }
}

TEST_F(Whitelist, EmptyValueOfThePlatformEmptiesTheList) {
  record.ProvidersWhitelist.assign(2, GUID{});
  registry.Local().SetTexts(L"ProvidersWhitelist", {});
  ReadLocalKey(platform);
  EXPECT_EQ(List(), Digits{});
  EXPECT_EQ(log.Lines(), LogLines{kFound});
}

TEST_F(Whitelist, ReadsNothingBehindTheFirstEmptyString) {
  SetList(Identifier(1) + L'\0' + L'\0' + Identifier(2) + L'\0' + L'\0');
  ReadLocalKey();
  EXPECT_EQ(List(), Digits{1});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Added(NarrowIdentifier(1))}));
  SetList(L'\0' + Identifier(2) + L'\0' + L'\0');
  ReadLocalKey();
  EXPECT_EQ(List(), Digits{});
  EXPECT_EQ(log.Lines(), LogLines{kFound});
}

TEST_F(Whitelist, DoesWithoutTerminators) {
  SetList(Identifier(1));
  ReadLocalKey();
  EXPECT_EQ(List(), Digits{1});
  SetList(Identifier(1) + L'\0' + Identifier(2));
  ReadLocalKey();
  EXPECT_EQ(List(), (Digits{1, 2}));
}

TEST_F(Whitelist, TakesHalfAUnitAtItsEndAsOne) {
  const std::wstring units = Identifier(1) + L'\0' + L"Z";
  SetList(kLocalPath, units, units.size() * sizeof(wchar_t) - 1);
  ReadLocalKey();
  EXPECT_EQ(List(), Digits{1});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Added(NarrowIdentifier(1)), Ignored("Z")}));
}

// 760 bytes are 380 units: 29 and a NUL, eight identifiers of 39 units, one of 38 and no NUL at all.
TEST_F(Whitelist, ReadsAFullBufferWithoutTerminatorToItsLastUnit) {
  std::wstring units = std::wstring(29, L'x') + L'\0';
  for (unsigned number = 1; number <= 8; ++number) units += Identifier(number) + L'\0';
  units += Identifier(9);
  ASSERT_EQ(units.size() * sizeof(wchar_t), kLimit);
  SetList(units);
  ReadLocalKey();
  EXPECT_EQ(List(), (Digits{1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_EQ(log.Lines().back(), Added(NarrowIdentifier(9)));
}

TEST_F(Whitelist, TakesAFullBufferOfOneTextAsFarAsItGoes) {
  SetList(std::wstring(kLimit / sizeof(wchar_t), L'y'));
  ReadLocalKey();
  EXPECT_EQ(List(), Digits{});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Ignored(std::string(380, 'y'))}));
}

TEST_F(Whitelist, ReadsAFullBufferOfThePlatform) {
  std::wstring units = std::wstring(29, L'x') + L'\0';
  for (unsigned number = 1; number <= 8; ++number) units += Identifier(number) + L'\0';
  units += Identifier(9);
  units += L'x';  // Where a NUL follows the data the platform would store it too.
  registry.Local().SetBytes(L"ProvidersWhitelist", REG_MULTI_SZ, units.data(), kLimit);
  ReadLocalKey(platform);
  EXPECT_EQ(List(), (Digits{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(Whitelist, ValueOfAnotherTypeLeavesTheListAlone) {
  const std::wstring units = Identifier(1) + L'\0' + L'\0';
  for (const DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_LINK, REG_QWORD}) {
    SCOPED_TRACE(type);
    record.ProvidersWhitelist.assign(2, GUID{});
    fake.Set(kLocalPath, "ProvidersWhitelist", type, units.data(), units.size() * sizeof(wchar_t));
    ReadLocalKey();
    EXPECT_EQ(record.ProvidersWhitelist.size(), 2u);
    EXPECT_EQ(log.Lines(), LogLines{});
  }
}

TEST_F(Whitelist, ValueThatCannotBeReadLeavesTheListAlone) {
  SetList(Identifier(1) + L'\0' + L'\0');
  record.ProvidersWhitelist.assign(2, GUID{});
  fake.FailQuery("ProvidersWhitelist", ERROR_ACCESS_DENIED);
  ReadLocalKey();
  EXPECT_EQ(record.ProvidersWhitelist.size(), 2u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(Whitelist, PolicyListReplacesTheLocalOneAsAWhole) {
  SetList(kLocalPath, Identifier(1) + L'\0' + Identifier(2) + L'\0' + L'\0');
  SetList(kPolicyPath, Identifier(3) + L'\0' + L'\0');
  Load();
  EXPECT_EQ(List(), Digits{3});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Added(NarrowIdentifier(1)), Added(NarrowIdentifier(2)), kFound,
                                   Added(NarrowIdentifier(3)), KuvTest::kNotConfigured}));
}

TEST_F(Whitelist, PolicyListWithoutAGoodEntryStillReplacesTheLocalOne) {
  for (const std::wstring& policy : {L""s, L"\0"s, L"bad\0worse\0\0"s}) {
    SCOPED_TRACE(::testing::PrintToString(policy));
    SetList(kLocalPath, Identifier(1) + L'\0' + L'\0');
    SetList(kPolicyPath, policy);
    Load();
    EXPECT_EQ(List(), Digits{});
  }
}

TEST_F(Whitelist, LocalListHoldsIfThePolicyKeyHasNone) {
  SetList(Identifier(1) + L'\0' + L'\0');
  fake.CreateKey(kPolicyPath);
  Load();
  EXPECT_EQ(List(), Digits{1});
}

TEST_F(Whitelist, LocalListHoldsIfThePolicyListIsOfAnotherTypeOrTooLong) {
  SetList(Identifier(1) + L'\0' + L'\0');
  fake.SetText(kPolicyPath, "ProvidersWhitelist", "x");
  Load();
  EXPECT_EQ(List(), Digits{1});
  SetList(kPolicyPath, std::wstring(381, L'\0'));
  Load();
  EXPECT_EQ(List(), Digits{1});
}

TEST_F(Whitelist, SecondPassOverTheSameDataGivesTheSameList) {
  SetList(Identifier(1) + L'\0' + Identifier(2) + L'\0' + L'\0');
  ReadLocalKey();
  const LogLines first = log.Lines();
  ReadLocalKey();
  EXPECT_EQ(List(), (Digits{1, 2}));
  EXPECT_EQ(log.Lines(), first);
}

TEST_F(Whitelist, LoadDropsAListThatIsGone) {
  record.ProvidersWhitelist.assign(2, GUID{});
  fake.CreateKey(kLocalPath);
  Load();
  EXPECT_EQ(List(), Digits{});
}

TEST_F(Whitelist, BadListDoesNotFailTheLoad) {
  SetCredentials();
  SetList(L"bad\0\0"s);
  EXPECT_TRUE(record.Load(fake));
}

}  // namespace
