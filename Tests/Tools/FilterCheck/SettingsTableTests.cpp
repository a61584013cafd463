// Compares the settings table with the behavior of the library.
#include "FilterCheck/Model/SettingsTable.h"

#include <windows.h>

#include <algorithm>
#include <functional>
#include <map>

#include <gmock/gmock.h>

#include "Common/Identifier.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/ServiceClient/ClientIdentity.h"
#include "KuvAuth/Startup/LogStartup.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace {

using namespace KuvTest;
using FilterCheck::AllSettings;
using FilterCheck::Beyond;
using FilterCheck::Effect;
using FilterCheck::FindSetting;
using FilterCheck::SettingInfo;
using FilterCheck::SettingKind;
using ::testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;

// Reads each setting from the library as its users do. The record is not loaded again.
class Library {
 public:
  std::string Ask(const std::string& name) { return readers_.at(name)(); }

 private:
  static const Configuration& Record() { return *GetConfiguration(); }

  static std::string TextOf(const std::string& text) { return text.empty() ? "not set" : text; }

  static std::string Host() {
    return Record().Host.empty() ? "not set" : Record().Host + ":" + std::to_string(Record().Port);
  }

  static std::string List() {
    std::string list;
    for (const GUID& provider : Record().ProvidersWhitelist)
      list += (list.empty() ? "" : ", ") + Tools::IdentifierText(provider);
    return list.empty() ? "none" : list;
  }

  static std::string Format() {
    const std::string field = Kuv::Util::BuildUsernameFormatField();
    return field == "; UsernameFormat: SAM" ? "0" : field == "; UsernameFormat: NTLM" ? "1" : "2";
  }

  static std::string Level() {
    const LogCapture log{LogLevel::Info};
    ApplyConfiguredLogLevel();
    return std::to_string(static_cast<int>(LogLevel::Info) - static_cast<int>(g_logSystem->minLevel));
  }

  // Returns how many files are moved when the log is opened with a file of this size.
  std::size_t Moves(std::uint64_t megabytes) {
    ImportHook<decltype(&::GetFileAttributesExW)> attributes{"GetFileAttributesExW"};
    ImportHook<decltype(&::MoveFileExW)> moves{"MoveFileExW"};
    attributes.Answer([&](LPCWSTR, GET_FILEEX_INFO_LEVELS, void* data) {
      auto* const file = static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data);
      file->nFileSizeHigh = static_cast<DWORD>((megabytes << 20) >> 32);
      file->nFileSizeLow = static_cast<DWORD>(megabytes << 20);
      return TRUE;
    });
    moves.Answer([](LPCWSTR, LPCWSTR, DWORD) { return FALSE; });
    StartLogging(folder_.Path(L"kuv.log"));
    StopLogging();
    return moves.CallCount();
  }

  // Returns the smallest size that is rotated, with the other limit set.
  std::string Megabytes() {
    const TestKey key{HKEY_LOCAL_MACHINE, L"Software\\Kuvant\\KuvCredProv"};
    key.SetDword(L"LogFileMaxCount", 1);
    std::uint64_t fits = 0;
    std::uint64_t tooLarge = 8192;
    if (Moves(tooLarge) == 0) tooLarge = 0;
    while (fits + 1 < tooLarge) {
      const std::uint64_t middle = (fits + tooLarge) / 2;
      (Moves(middle) == 0 ? fits : tooLarge) = middle;
    }
    key.DeleteValue(L"LogFileMaxCount");
    return std::to_string(tooLarge);
  }

  std::string Files() {
    const TestKey key{HKEY_LOCAL_MACHINE, L"Software\\Kuvant\\KuvCredProv"};
    key.SetDword(L"LogFileMaxSizeMB", 1);
    const std::size_t files = Moves(1);
    key.DeleteValue(L"LogFileMaxSizeMB");
    return std::to_string(files);
  }

  template <typename Field>
  static std::string Number(Field field) {
    return std::to_string(static_cast<std::uint32_t>(field));
  }

  TempFolder folder_;
  std::map<std::string, std::function<std::string()>> readers_{
      {"Host", Host},
      {"IKey", [] { return TextOf(Record().IKey); }},
      {"SKey", [] { return std::string{Record().SKey.empty() ? "not set" : "set"}; }},
      {"ElevationProtectionMode", [] { return Number(GetElevationProtectionMode()); }},
      {"RdpOnly", [] { return Number(IsRdpOnly()); }},
      {"ProvidersWhitelist", List},
      {"EnableSmartCards", [] { return Number(Record().EnableSmartCards); }},
      {"WrapSmartCards", [] { return Number(Record().WrapSmartCards); }},
      {"FailOpen", [] { return Number(Record().FailOpen); }},
      {"UsernameFormatForService", Format},
      {"AutoPush", [] { return Number(Record().AutoPush); }},
      {"local_ip_fallback", [] { return Number(Record().local_ip_fallback); }},
      {"HttpProxyHost", [] { return TextOf(Record().HttpProxyHost); }},
      {"HttpProxyPort", [] { return Number(Record().HttpProxyPort); }},
      {"OfflineAvailable", [] { return Number(Record().OfflineAvailable); }},
      {"OfflineMaxUsers", [] { return Number(Record().OfflineMaxUsers); }},
      {"ElevationOfflineEnable", [] { return Number(Record().ElevationOfflineEnable); }},
      {"ElevationOfflineEnrollment", [] { return Number(Record().ElevationOfflineEnrollment); }},
      {"InactivityTimeoutSeconds", [] { return Number(Record().InactivityTimeoutSeconds); }},
      {"Debug", Level},
      {"LogFileMaxSizeMB", [this] { return Megabytes(); }},
      {"LogFileMaxCount", [this] { return Files(); }},
  };
};

std::wstring Wide(std::string_view text) {
  return {text.begin(), text.end()};
}

Bytes BytesOf(const std::wstring& text) {
  const auto* const first = reinterpret_cast<const std::uint8_t*>(text.data());
  return {first, first + text.size() * sizeof(wchar_t)};
}

Bytes BytesOf(std::uint64_t number, std::size_t size) {
  Bytes bytes;
  for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
  return bytes;
}

class SettingsTable : public ::testing::Test {
 protected:
  ~SettingsTable() override { *GetConfiguration() = Configuration{}; }

  // Returns the value in a new process.
  std::string Loaded(const SettingInfo& setting) {
    *GetConfiguration() = Configuration{};
    EnsureConfigurationLoaded();
    return library.Ask(std::string{setting.name});
  }

  // Compares library and table for one stored value, in either key.
  void ExpectStored(const SettingInfo& setting, DWORD type, const Bytes& data, const std::string& expected) {
    const std::wstring name = Wide(setting.name);
    for (const TestKey& key : {registry.Local(), registry.Policy()}) {
      SCOPED_TRACE(std::string{setting.name} + " of type " + std::to_string(type) + " with " +
                   std::to_string(data.size()) + " bytes");
      key.SetBytes(name, type, data.data(), data.size());
      EXPECT_EQ(Loaded(setting), expected);
      EXPECT_EQ(setting.effective(), expected);
      key.DeleteValue(name);
    }
    // An existing policy key resets one of the settings.
    registry.Policy().Delete();
  }

  void ExpectNumber(const SettingInfo& setting, std::uint32_t number, const std::string& expected) {
    SCOPED_TRACE(number);
    ExpectStored(setting, REG_DWORD, BytesOf(number, 4), expected);
  }

  RegistrySandbox registry;
  Library library;
};

std::string CountsAs(const SettingInfo& setting, std::uint32_t number) {
  if (setting.kind == SettingKind::Flag) return number != 0 ? "1" : "0";
  if (number >= setting.least && number <= setting.most) return std::to_string(number);
  if (setting.beyond == Beyond::AsStored) return std::to_string(number);
  if (setting.beyond == Beyond::Most && number > setting.most) return std::to_string(setting.most);
  return std::string{setting.byDefault};
}

TEST_F(SettingsTable, ContainsEverySetting) {
  std::vector<std::string> names;
  for (const SettingInfo& setting : AllSettings()) names.emplace_back(setting.name);
  EXPECT_THAT(names, ElementsAre("Host", "IKey", "SKey", "ElevationProtectionMode", "RdpOnly",
                                 "ProvidersWhitelist", "EnableSmartCards", "WrapSmartCards", "FailOpen",
                                 "UsernameFormatForService", "AutoPush", "local_ip_fallback", "HttpProxyHost",
                                 "HttpProxyPort", "OfflineAvailable", "OfflineMaxUsers",
                                 "ElevationOfflineEnable", "ElevationOfflineEnrollment",
                                 "InactivityTimeoutSeconds", "Debug", "LogFileMaxSizeMB", "LogFileMaxCount"));
}

TEST_F(SettingsTable, FindsNamesWithoutCase) {
  EXPECT_EQ(FindSetting("rdponly"), FindSetting("RdpOnly"));
  ASSERT_NE(FindSetting("LOCAL_IP_FALLBACK"), nullptr);
  EXPECT_EQ(FindSetting("LOCAL_IP_FALLBACK")->name, "local_ip_fallback");
  EXPECT_EQ(FindSetting("RdpOnl"), nullptr);
  EXPECT_EQ(FindSetting("RdpOnlyy"), nullptr);
  EXPECT_EQ(FindSetting(""), nullptr);
}

TEST_F(SettingsTable, MatchesDefaultsOfLibrary) {
  for (const SettingInfo& setting : AllSettings()) {
    SCOPED_TRACE(setting.name);
    registry.Local().Create();
    EXPECT_EQ(Loaded(setting), setting.byDefault);
    EXPECT_EQ(setting.effective(), setting.byDefault);
  }
}

TEST_F(SettingsTable, MatchesRangesOfLibrary) {
  for (const SettingInfo& setting : AllSettings()) {
    if (!FilterCheck::IsNumeric(setting)) continue;
    std::vector<std::uint32_t> numbers{0, 1, 2, 3, 0x80000000, 0xFFFFFFFF};
    for (const std::uint32_t edge : {setting.least, setting.most}) {
      for (const std::uint32_t number : {edge - 1, edge, edge + 1}) numbers.push_back(number);
    }
    for (const std::uint32_t number : numbers) ExpectNumber(setting, number, CountsAs(setting, number));
  }
}

TEST_F(SettingsTable, AcceptsNumbersOfOneTypeOnly) {
  for (const SettingInfo& setting : AllSettings()) {
    if (!FilterCheck::IsNumeric(setting)) continue;
    // A number that differs from the default.
    const std::uint32_t number = setting.byDefault == "1" ? 0 : 1;
    ExpectNumber(setting, number, std::to_string(number));
    for (const DWORD type : {REG_NONE, REG_SZ, REG_BINARY, REG_DWORD_BIG_ENDIAN, REG_QWORD})
      ExpectStored(setting, type, BytesOf(number, 4), std::string{setting.byDefault});
  }
}

// The record accepts a short number. Settings that are read each time do not.
TEST_F(SettingsTable, AcceptsShortNumbersInTheRecordOnly) {
  for (const SettingInfo& setting : AllSettings()) {
    if (!FilterCheck::IsNumeric(setting)) continue;
    const std::uint32_t number = setting.byDefault == "1" ? 0 : 1;
    const bool shortCounts = setting.effect == Effect::NextProcess;
    for (const std::size_t size : {1, 2, 3})
      ExpectStored(setting, REG_DWORD, BytesOf(number, size),
                   shortCounts ? std::to_string(number) : std::string{setting.byDefault});
    for (const std::size_t size : {5, 8})
      ExpectStored(setting, REG_DWORD, BytesOf(number, size), std::string{setting.byDefault});
  }
}

TEST_F(SettingsTable, AcceptsTextsUpToTheLimit) {
  static_assert(FilterCheck::kMostTextBytes == 1024);
  for (const SettingInfo& setting : AllSettings()) {
    if (setting.kind != SettingKind::Text) continue;
    const std::wstring longest(1023, L'a');
    const std::string counts = setting.name == "SKey"   ? "set"
                               : setting.name == "Host" ? std::string(1023, 'a') + ":443"
                                                        : std::string(1023, 'a');
    ExpectStored(setting, REG_SZ, BytesOf(longest + L'\0'), counts);
    ExpectStored(setting, REG_SZ, BytesOf(longest + L"a" + L'\0'), "not set");
    ExpectStored(setting, REG_SZ, {}, "not set");
    for (const DWORD type : {REG_NONE, REG_EXPAND_SZ, REG_BINARY, REG_MULTI_SZ, REG_DWORD})
      ExpectStored(setting, type, BytesOf(std::wstring{L"a"} + L'\0'), "not set");
  }
}

std::wstring Identifiers(std::size_t count) {
  std::wstring list;
  for (std::size_t i = 0; i < count; ++i)
    list += std::wstring{L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"} + L'\0';
  return list;
}

TEST_F(SettingsTable, AcceptsListsUpToTheLimit) {
  static_assert(FilterCheck::kMostListBytes == 760);
  static_assert(FilterCheck::kMostProviders == 9);
  for (const SettingInfo& setting : AllSettings()) {
    if (setting.kind != SettingKind::Providers) continue;
    std::string nine = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
    for (int i = 1; i < 9; ++i) nine += ", {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
    ExpectStored(setting, REG_MULTI_SZ, BytesOf(Identifiers(9) + L'\0'), nine);
    ExpectStored(setting, REG_MULTI_SZ, BytesOf(Identifiers(10) + L'\0'), "none");
    std::wstring full = Identifiers(9) + L'\0';
    full.resize(760 / sizeof(wchar_t));
    ExpectStored(setting, REG_MULTI_SZ, BytesOf(full), nine);
    ExpectStored(setting, REG_MULTI_SZ, BytesOf(full + L'\0'), "none");
    for (const DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY})
      ExpectStored(setting, type, BytesOf(Identifiers(1) + L'\0'), "none");
  }
}

// A value that changes while the process runs.
TEST_F(SettingsTable, MatchesWhenChangesTakeEffect) {
  registry.Local().SetText(L"Host", L"auth.kuv.example");
  registry.Local().SetText(L"IKey", L"SAMPLE");
  registry.Local().SetText(L"SKey", L"secret");
  ASSERT_TRUE(EnsureConfigurationLoaded());
  for (const SettingInfo& setting : AllSettings()) {
    SCOPED_TRACE(setting.name);
    const std::string before = library.Ask(std::string{setting.name});
    const std::wstring name = Wide(setting.name);
    if (FilterCheck::IsNumeric(setting)) {
      registry.Local().SetDword(name, setting.byDefault == "1" ? 0 : 1);
    } else if (setting.kind == SettingKind::Text) {
      registry.Local().SetText(name, L"other");
    } else {
      registry.Local().SetTexts(name, {L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"});
    }
    ASSERT_TRUE(EnsureConfigurationLoaded());
    EXPECT_EQ(library.Ask(std::string{setting.name}) == before, setting.effect == Effect::NextProcess);
  }
}

TEST_F(SettingsTable, AppliesDebugWithNextClassObject) {
  EXPECT_EQ(FindSetting("Debug")->effect, Effect::NextClassObject);
  const LogCapture log{LogLevel::Info};
  registry.Local().SetDword(L"Debug", 1);
  EXPECT_EQ(g_logSystem->minLevel, LogLevel::Info);
  ApplyConfiguredLogLevel();
  EXPECT_EQ(g_logSystem->minLevel, LogLevel::Debug);
}

TEST_F(SettingsTable, AppliesLogLimitsWithNextLogStart) {
  EXPECT_EQ(FindSetting("LogFileMaxSizeMB")->effect, Effect::NextLogStart);
  EXPECT_EQ(FindSetting("LogFileMaxCount")->effect, Effect::NextLogStart);
}

TEST_F(SettingsTable, RequiresThreeTexts) {
  std::vector<std::string> names;
  for (const SettingInfo& setting : AllSettings()) {
    if (FilterCheck::IsRequired(setting)) names.emplace_back(setting.name);
  }
  EXPECT_THAT(names, ElementsAre("Host", "IKey", "SKey"));
}

TEST_F(SettingsTable, DescribesEverySetting) {
  for (const SettingInfo& setting : AllSettings()) {
    EXPECT_FALSE(setting.meaning.empty()) << setting.name;
    EXPECT_FALSE(setting.limits.empty()) << setting.name;
  }
}

}  // namespace
