// Compares the result of what-if settings with the result of writing the same settings.
#include <functional>
#include <stdexcept>

#include "KuvAuth/Support/Text.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::ExamineWhatIf;
using FilterCheck::FindSetting;
using FilterCheck::WhatIfKey;
using FilterCheck::WhatIfSetting;

bool Holds(const TestKey& key, const std::wstring& name) {
  DWORD type = 0;
  try {
    key.GetBytes(name, type);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

// One what-if setting, and the same setting written to the registry.
struct Change {
  const char* setting;
  std::wstring value;
  std::function<void(const TestKey& key, const std::wstring& name)> write;
};

Change Number(const char* setting, const std::wstring& value, std::uint32_t number) {
  return {setting, value, [=](const TestKey& key, const std::wstring& name) { key.SetDword(name, number); }};
}

Change Text(const char* setting, const std::wstring& value) {
  return {setting, value, [=](const TestKey& key, const std::wstring& name) { key.SetText(name, value); }};
}

Change List(const std::wstring& value, const std::vector<std::wstring>& entries) {
  return {"ProvidersWhitelist", value,
          [=](const TestKey& key, const std::wstring& name) { key.SetTexts(name, entries); }};
}

std::vector<Change> Changes() {
  return {
      Number("RdpOnly", L"1", 1),
      Number("RdpOnly", L"0x2", 2),
      Number("ElevationProtectionMode", L"2", 2),
      Number("ElevationProtectionMode", L"0XFFFFFFFF", 0xFFFFFFFF),
      Number("OfflineMaxUsers", L"0051", 51),
      Number("EnableSmartCards", L"1", 1),
      Number("WrapSmartCards", L"1", 1),
      Number("Debug", L"0", 0),
      Number("LogFileMaxSizeMB", L"10", 10),
      Text("Host", L"other.example:70000"),
      Text("Host", L" "),
      Text("IKey", L"OTHER"),
      Text("SKey", L"another secret"),
      Text("SKey", std::wstring(1024, L's')),
      Text("HttpProxyHost", L"proxy, with; signs"),
      List(L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", {kPasswordText}),
      List(L" {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} ; nonsense,,{11111111-2222-3333-4444-555555555555};",
           {kPasswordText, L"nonsense", kForeignText}),
      List(L",", {}),
      {"Host", L"", {}},
      {"ProvidersWhitelist", L"", {}},
      {"RdpOnly", L"", {}},
      {"OfflineMaxUsers", L"", {}},
  };
}

using Start = std::function<void(const TestKey& local, const TestKey& policy)>;

std::vector<Start> Starts() {
  return {
      [](const TestKey&, const TestKey&) {},
      [](const TestKey&, const TestKey& policy) { policy.Delete(); },
      [](const TestKey&, const TestKey& policy) {
        policy.SetText(L"Host", L"policy.example");
        policy.SetText(L"IKey", L"");
        policy.SetText(L"SKey", L"policy secret");
        policy.SetDword(L"RdpOnly", 1);
        policy.SetDword(L"OfflineMaxUsers", 9);
        policy.SetTexts(L"ProvidersWhitelist", {kForeignText});
      },
      // Malformed values are malformed in the same way in the copy.
      [](const TestKey& local, const TestKey& policy) {
        local.SetBytes(L"SKey", REG_SZ, L"secret", 11);
        local.SetBytes(L"HttpProxyHost", REG_SZ, L"proxy\xFFFF", 10);
        local.SetBytes(L"AutoPush", REG_DWORD, "\1\1\1\1\1\1\1\1", 2);
        local.SetText(L"Debug", L"1");
        local.SetText(L"SKeyy", L"secret");
        local.SetText(L"", L"the default value");
        policy.SetBytes(L"ProvidersWhitelist", REG_MULTI_SZ, kPasswordText.c_str(),
                        2 * (kPasswordText.size() + 1));
      },
  };
}

class WhatIfProduct : public SettingsFixture {
 protected:
  // The key to which a what-if value of this setting is written.
  TestKey Target(const wchar_t* name) const {
    return Holds(registry.Policy(), name) ? registry.Policy() : registry.Local();
  }

  // Compares the what-if result with that of a function that writes the change, from every start.
  void ExpectSame(const Change& change, WhatIfKey key, const std::function<void()>& write) const {
    const std::vector<Start> starts = Starts();
    for (std::size_t i = 0; i < starts.size(); ++i) {
      SCOPED_TRACE("start " + std::to_string(i) + " " + std::string{PrefixOf(key)} + change.setting + "=" +
                   testing::PrintToString(change.value));
      starts[i](registry.Local(), registry.Policy());
      const std::string before = Snapshot();
      const std::string whatIf =
          Describe(ExamineWhatIf(std::vector{WhatIfSetting{FindSetting(change.setting), change.value, key}}));
      ASSERT_EQ(Snapshot(), before);
      write();
      if (registry.Policy().Exists()) CloseKeys();
      EXPECT_EQ(whatIf, Describe(Examine()));
      registry.Local().Delete();
      if (registry.Policy().Exists()) registry.Policy().Delete();
      WriteGoodSettings();
    }
  }
};

void Write(const Change& change, const std::vector<TestKey>& keys) {
  const std::wstring name{FindSetting(change.setting)->name.begin(), FindSetting(change.setting)->name.end()};
  for (const TestKey& key : keys) {
    if (change.write) {
      change.write(key, name);
    } else if (Holds(key, name)) {
      key.DeleteValue(name);
    }
  }
}

TEST_F(WhatIfProduct, MatchesTheResultOfWriting) {
  for (const Change& change : Changes()) {
    ExpectSame(change, WhatIfKey::Effective, [&] {
      const std::wstring name = Utf8ToWide(change.setting);
      Write(change, change.write ? std::vector{Target(name.c_str())}
                                 : std::vector{registry.Local(), registry.Policy()});
    });
  }
}

TEST_F(WhatIfProduct, MatchesTheResultOfWritingToOneKey) {
  const std::vector<Change> changes{
      Number("RdpOnly", L"1", 1),
      Number("OfflineMaxUsers", L"7", 7),
      Text("Host", L""),
      Text("Host", L"other.example"),
      Text("SKey", L""),
      List(L"", {}),
      List(L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", {kPasswordText}),
      {"Host", L"-", {}},
      {"OfflineMaxUsers", L"-", {}},
      {"ProvidersWhitelist", L"-", {}},
  };
  for (const Change& change : changes) {
    ExpectSame(change, WhatIfKey::Policy, [&] { Write(change, {registry.Policy()}); });
    ExpectSame(change, WhatIfKey::Local, [&] { Write(change, {registry.Local()}); });
  }
}

}  // namespace
