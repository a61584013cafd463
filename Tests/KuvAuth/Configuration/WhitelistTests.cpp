#include <objbase.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/SettingReader.h"
#include "KuvAuth/Registry/OpenedKey.h"
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

  // Returns the first field of each identifier in the list and checks the others.
  Digits List() const {
    Digits digits;
    for (const GUID& provider : record.ProvidersWhitelist) {
      GUID expected{provider.Data1, 0x2222, 0x3333, {0x44, 0x44, 0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45}};
      EXPECT_TRUE(provider == expected);
      digits.push_back(provider.Data1);
    }
    return digits;
  }

  // Reads this value from the platform's registry.
  void ReadStored(const Texts& texts) {
    registry.Local().SetTexts(L"ProvidersWhitelist", texts);
    ReadLocalKey(platform);
  }

  // The lines that add these identifiers to the list.
  static LogLines FoundAndAdded(const Digits& digits) {
    LogLines lines{kFound};
    for (const unsigned number : digits) lines.push_back(Added(NarrowIdentifier(number)));
    return lines;
  }

  Registry platform;
};

TEST_F(Whitelist, KeepsOrderAndDuplicatesOfUpToNineIdentifiers) {
  for (const Digits& digits : {Digits{2, 1, 3}, Digits{1, 2, 1}, Digits{1, 2, 3, 4, 5, 6, 7, 8, 9}}) {
    SCOPED_TRACE(::testing::PrintToString(digits));
    Texts texts;
    for (const unsigned number : digits) texts.push_back(Identifier(number));
    ReadStored(texts);
    EXPECT_EQ(List(), digits);
    EXPECT_EQ(log.Lines(), FoundAndAdded(digits));
  }
}

TEST_F(Whitelist, ReaderReportsWhetherThereIsAList) {
  const auto isRead = [this](const char* path) {
    HKEY opened = nullptr;
    EXPECT_EQ(fake.OpenKeyA(HKEY_LOCAL_MACHINE, path, /*options=*/0, KEY_QUERY_VALUE, &opened),
              ERROR_SUCCESS);
    const Kuv::OpenedKey key{fake, opened};
    std::vector<GUID> providers;
    return Kuv::SettingReader{fake, key.Get()}.ReadWhitelist(providers);
  };
  SetList("List", L"\0"s);
  fake.SetText("Text", "ProvidersWhitelist", "text");
  SetList("LongList", L"\0"s, kLimit + 1);
  fake.SetText("Other", "Other", "text");
  EXPECT_TRUE(isRead("List"));
  EXPECT_FALSE(isRead("Text"));
  EXPECT_FALSE(isRead("LongList"));
  EXPECT_FALSE(isRead("Other"));
}

TEST_F(Whitelist, TenIdentifiersAreTooLongAndKeepTheList) {
  ReadStored({Identifier(7)});
  ReadStored(Texts(10, Identifier(1)));
  EXPECT_EQ(List(), Digits{7});
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(Whitelist, HasALimitOf760Bytes) {
  const std::wstring units = Identifier(1) + L'\0' + std::wstring(1000, L'\0');
  for (const std::size_t size : {kLimit - 1, kLimit, kLimit + 1, kLimit + 2, 2 * kLimit}) {
    SCOPED_TRACE(size);
    record = {};
    SetList(kLocalPath, units, size);
    ReadLocalKey();
    EXPECT_EQ(List(), size <= kLimit ? Digits{1} : Digits{});
    EXPECT_EQ(log.Lines(), size <= kLimit ? FoundAndAdded({1}) : LogLines{});
  }
}

TEST_F(Whitelist, AcceptsLowerCaseAndLogsItUnchanged) {
  SetList(L"{00000001-2222-3333-4444-abcdef012345}\0\0"s);
  ReadLocalKey();
  EXPECT_EQ(List(), Digits{1});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Added("{00000001-2222-3333-4444-abcdef012345}")}));
}

TEST_F(Whitelist, IgnoresInvalidEntries) {
  ReadStored({Identifier(1), L"KuvCredProv", Identifier(2)});
  EXPECT_EQ(List(), (Digits{1, 2}));
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Added(NarrowIdentifier(1)), Ignored("KuvCredProv"),
                                   Added(NarrowIdentifier(2))}));
  ReadStored({L"{}", L" {00000001-2222-3333-4444-ABCDEF012345}", L"{00000001-2222-3333-4444-ABCDEF01234}",
              L"{00000001-2222-3333-4444-ABCDEF01234G}"});
  EXPECT_EQ(List(), Digits{});
  EXPECT_EQ(log.Lines(), (LogLines{kFound, Ignored("{}"), Ignored(" {00000001-2222-3333-4444-ABCDEF012345}"),
                                   Ignored("{00000001-2222-3333-4444-ABCDEF01234}"),
                                   Ignored("{00000001-2222-3333-4444-ABCDEF01234G}")}));
}

TEST_F(Whitelist, ValidatesEntriesWithThePlatform) {
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

TEST_F(Whitelist, EmptyValueInThePlatformsRegistryEmptiesTheList) {
  record.ProvidersWhitelist.assign(2, GUID{});
  ReadStored({});
  EXPECT_EQ(List(), Digits{});
  EXPECT_EQ(log.Lines(), LogLines{kFound});
}

// 760 bytes are 380 units: 29 and a NUL, eight identifiers of 39 units, one of 38 and no NUL.
std::wstring FullBuffer() {
  std::wstring units = std::wstring(29, L'x') + L'\0';
  for (unsigned number = 1; number <= 8; ++number) units += Identifier(number) + L'\0';
  return units + Identifier(9);
}

TEST_F(Whitelist, EndsAtTheFirstEmptyEntryOrWithItsData) {
  const auto bytes = [](const std::wstring& units) { return units.size() * sizeof(wchar_t); };
  const std::wstring one = Identifier(1);
  const std::wstring two = L'\0' + Identifier(2);
  const std::wstring half = one + L'\0' + L"Z";
  const std::wstring full = FullBuffer();
  ASSERT_EQ(bytes(full), kLimit);
  const std::wstring longest(kLimit / sizeof(wchar_t), L'y');
  const std::wstring almost(kLimit / sizeof(wchar_t) - 2, L'y');
  const LogLine ignored = Ignored(std::string(29, 'x'));
  LogLines fullLines = FoundAndAdded({1, 2, 3, 4, 5, 6, 7, 8, 9});
  fullLines.insert(fullLines.begin() + 1, ignored);
  const struct {
    const char* name;
    std::wstring units;
    std::size_t size;
    Digits digits;
    LogLines lines;
  } rows[] = {
      {"empty entry", one + L'\0' + two + L"\0\0"s, bytes(one + L'\0' + two) + 4, {1}, FoundAndAdded({1})},
      {"empty entry first", two + L"\0\0"s, bytes(two) + 4, {}, {kFound}},
      {"no terminator", one, bytes(one), {1}, FoundAndAdded({1})},
      {"no last terminator", one + two, bytes(one + two), {1, 2}, FoundAndAdded({1, 2})},
      {"half a unit", half, bytes(half) - 1, {1}, {kFound, Added(NarrowIdentifier(1)), Ignored("Z")}},
      {"full buffer", full, kLimit, {1, 2, 3, 4, 5, 6, 7, 8, 9}, fullLines},
      {"full buffer that ends with a text of one unit",
       almost + L"\0z"s,
       kLimit,
       {},
       {kFound, Ignored(std::string(378, 'y')), Ignored("z")}},
      {"full buffer of one text", longest, kLimit, {}, {kFound, Ignored(std::string(380, 'y'))}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    SetList(kLocalPath, row.units, row.size);
    ReadLocalKey();
    EXPECT_EQ(List(), row.digits);
    EXPECT_EQ(log.Lines(), row.lines);
  }
}

TEST_F(Whitelist, ReadsAFullBufferFromThePlatformsRegistry) {
  // The platform stores a NUL that follows the data too, so another character follows here.
  const std::wstring units = FullBuffer() + L'x';
  registry.Local().SetBytes(L"ProvidersWhitelist", REG_MULTI_SZ, units.data(), kLimit);
  ReadLocalKey(platform);
  EXPECT_EQ(List(), (Digits{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(Whitelist, AnotherTypeOrAFailedQueryKeepsTheList) {
  const std::wstring units = Identifier(1) + L'\0' + L'\0';
  record.ProvidersWhitelist.assign(2, GUID{});
  for (const DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_LINK, REG_QWORD}) {
    SCOPED_TRACE(type);
    fake.Set(kLocalPath, "ProvidersWhitelist", type, units.data(), units.size() * sizeof(wchar_t));
    ReadLocalKey();
    EXPECT_EQ(record.ProvidersWhitelist.size(), 2u);
    EXPECT_EQ(log.Lines(), LogLines{});
  }
  SetList(units);
  fake.FailQuery("ProvidersWhitelist", ERROR_ACCESS_DENIED);
  ReadLocalKey();
  EXPECT_EQ(record.ProvidersWhitelist.size(), 2u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(Whitelist, PolicyListReplacesTheWholeLocalList) {
  SetList(kLocalPath, Identifier(1) + L'\0' + Identifier(2) + L'\0' + L'\0');
  SetList(kPolicyPath, Identifier(3) + L'\0' + L'\0');
  Load();
  EXPECT_EQ(List(), Digits{3});
  LogLines expected = FoundAndAdded({1, 2});
  for (const LogLine& line : FoundAndAdded({3})) expected.push_back(line);
  expected.push_back(KuvTest::kNotConfigured);
  EXPECT_EQ(log.Lines(), expected);
}

TEST_F(Whitelist, PolicyListWithoutAValidEntryReplacesTheLocalList) {
  for (const std::wstring& policy : {L""s, L"\0"s, L"bad\0worse\0\0"s}) {
    SCOPED_TRACE(::testing::PrintToString(policy));
    SetList(kLocalPath, Identifier(1) + L'\0' + L'\0');
    SetList(kPolicyPath, policy);
    Load();
    EXPECT_EQ(List(), Digits{});
  }
}

TEST_F(Whitelist, LocalListAppliesIfThePolicyListIsMissingOfAnotherTypeOrTooLong) {
  SetList(Identifier(1) + L'\0' + L'\0');
  fake.CreateKey(kPolicyPath);
  Load();
  EXPECT_EQ(List(), Digits{1}) << "missing";
  fake.SetText(kPolicyPath, "ProvidersWhitelist", "x");
  Load();
  EXPECT_EQ(List(), Digits{1}) << "of another type";
  SetList(kPolicyPath, std::wstring(381, L'\0'));
  Load();
  EXPECT_EQ(List(), Digits{1}) << "too long";
}

TEST_F(Whitelist, SecondReadReturnsTheSameList) {
  SetList(Identifier(1) + L'\0' + Identifier(2) + L'\0' + L'\0');
  ReadLocalKey();
  const LogLines first = log.Lines();
  ReadLocalKey();
  EXPECT_EQ(List(), (Digits{1, 2}));
  EXPECT_EQ(log.Lines(), first);
}

TEST_F(Whitelist, LoadClearsAListThatIsNoLongerStored) {
  record.ProvidersWhitelist.assign(2, GUID{});
  fake.CreateKey(kLocalPath);
  Load();
  EXPECT_EQ(List(), Digits{});
}

TEST_F(Whitelist, InvalidListDoesNotFailTheLoad) {
  SetCredentials();
  SetList(L"bad\0\0"s);
  EXPECT_TRUE(record.Load(fake));
}

}  // namespace
