// What assumed settings would make of the machine, against really writing them.
#include <functional>

#include <gmock/gmock.h>

#include "FilterHost/HostError.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Assumption;
using FilterCheck::Examine;
using FilterCheck::ExamineAssuming;
using FilterCheck::FindSetting;
using FilterCheck::Situation;
using FilterCheck::Source;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

bool Holds(const TestKey& key, const std::wstring& name) {
  DWORD type = 0;
  try {
    key.GetBytes(name, type);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

bool PrivateKeyIsGone() {
  const std::wstring path = L"Software\\KuvFilterCheck." + std::to_wstring(::GetCurrentProcessId());
  return !TestKey{HKEY_CURRENT_USER, path}.Exists();
}

class Assuming : public SettingsFixture {
 protected:
  static Situation Assume(const char* name, const std::wstring& value) {
    return ExamineAssuming(std::vector{Assumption{FindSetting(name), value}});
  }

  // The key that an assumption of this setting goes to.
  TestKey Target(const wchar_t* name) const {
    return Holds(registry.Policy(), name) ? registry.Policy() : registry.Local();
  }
};

// One assumption, and the same really written.
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
      List(L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", {kPassword}),
      List(L" {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} ; nonsense,,{11111111-2222-3333-4444-555555555555};",
           {kPassword, L"nonsense", kVendor}),
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
        policy.SetTexts(L"ProvidersWhitelist", {kVendor});
      },
      // What is stored badly looks as bad in the copy.
      [](const TestKey& local, const TestKey& policy) {
        local.SetBytes(L"SKey", REG_SZ, L"secret", 11);
        local.SetBytes(L"HttpProxyHost", REG_SZ, L"proxy\xFFFF", 10);
        local.SetBytes(L"AutoPush", REG_DWORD, "\1\1\1\1\1\1\1\1", 2);
        local.SetText(L"Debug", L"1");
        local.SetText(L"SKeyy", L"secret");
        local.SetText(L"", L"the key's own");
        policy.SetBytes(L"ProvidersWhitelist", REG_MULTI_SZ, kPassword, 2 * std::size(kPassword));
      },
  };
}

TEST_F(Assuming, GivesWhatReallyWritingWouldGive) {
  const std::vector<Start> starts = Starts();
  for (std::size_t i = 0; i < starts.size(); ++i) {
    for (const Change& change : Changes()) {
      SCOPED_TRACE("start " + std::to_string(i) + " " + change.setting + "=" +
                   testing::PrintToString(change.value));
      starts[i](registry.Local(), registry.Policy());
      const std::string before = Snapshot();
      const std::string assumed = Describe(Assume(change.setting, change.value));
      ASSERT_EQ(Snapshot(), before);

      const std::wstring name{FindSetting(change.setting)->name.begin(),
                              FindSetting(change.setting)->name.end()};
      if (change.write) {
        change.write(Target(name.c_str()), name);
      } else {
        for (const TestKey& key : {registry.Local(), registry.Policy()}) {
          if (Holds(key, name)) key.DeleteValue(name);
        }
      }
      EXPECT_EQ(assumed, Describe(Examine()));
      registry.Local().Delete();
      if (registry.Policy().Exists()) registry.Policy().Delete();
      WriteGoodSettings();
    }
  }
  EXPECT_TRUE(PrivateKeyIsGone());
}

TEST_F(Assuming, NothingGivesWhatIsThere) {
  registry.Policy().SetDword(L"RdpOnly", 2);
  EXPECT_EQ(Describe(ExamineAssuming({})), Describe(Examine()));
}

TEST_F(Assuming, TakesSeveralInTheirOrder) {
  const std::vector<Assumption> assumptions{{FindSetting("RdpOnly"), L"1"},
                                            {FindSetting("EnableSmartCards"), L"1"},
                                            {FindSetting("RdpOnly"), L"0"}};
  const Situation situation = ExamineAssuming(assumptions);
  EXPECT_EQ(StateOf(situation, "RdpOnly").effective, "0");
  EXPECT_EQ(StateOf(situation, "RdpOnly").source, Source::Local);
  EXPECT_EQ(StateOf(situation, "EnableSmartCards").effective, "1");
}

TEST_F(Assuming, GoesToThePolicyKeyThatHoldsTheSetting) {
  registry.Policy().SetText(L"RdpOnly", L"of another type");
  const Situation situation = Assume("RdpOnly", L"1");
  EXPECT_EQ(StateOf(situation, "RdpOnly").source, Source::Policy);
  EXPECT_FALSE(StateOf(situation, "RdpOnly").local);
  const Situation other = Assume("Debug", L"1");
  EXPECT_EQ(StateOf(other, "Debug").source, Source::Local);
}

TEST_F(Assuming, NeedsNoLocalKey) {
  registry.Local().Delete();
  EXPECT_EQ(StateOf(Assume("RdpOnly", L"1"), "RdpOnly").effective, "1");
  EXPECT_FALSE(registry.Local().Exists());
}

TEST_F(Assuming, ThrowsForWhatIsNoNumber) {
  const std::string before = Snapshot();
  for (const wchar_t* const value : {L"on", L"-1", L"+1", L"1 ", L" ", L"0x", L"0xG", L"4294967296",
                                     L"0x100000000", L"99999999999999999999999", L"1,2"}) {
    try {
      Assume("RdpOnly", value);
      ADD_FAILURE() << testing::PrintToString(std::wstring{value}) << " was taken";
    } catch (const FilterHost::HostError& error) {
      EXPECT_EQ(error.Code(), FilterHost::ExitCode::Usage);
      EXPECT_STREQ(error.what(), "RdpOnly takes a number of 32 bits, decimal or 0x and hexadecimal");
    }
  }
  EXPECT_EQ(Snapshot(), before);
  EXPECT_TRUE(PrivateKeyIsGone());
}

TEST_F(Assuming, TakesTheLargestNumber) {
  EXPECT_EQ(StateOf(Assume("InactivityTimeoutSeconds", L"4294967295"), "InactivityTimeoutSeconds").effective,
            "4294967295");
  EXPECT_EQ(StateOf(Assume("InactivityTimeoutSeconds", L"0xffFFffFF"), "InactivityTimeoutSeconds").effective,
            "4294967295");
}

// The look fails halfway, with the private keys in view.
TEST_F(Assuming, PutsTheMachineBackWhateverHappens) {
  const std::string before = Snapshot();
  {
    KUV_IMPORT_HOOK(info, RegQueryInfoKeyW);
    // The first two calls read the real keys.
    info.AnswerCall(3, [](auto...) { return ERROR_OUTOFMEMORY; });
    EXPECT_THROW(Assume("RdpOnly", L"1"), FilterHost::HostError);
    EXPECT_EQ(info.CallCount(), 3u);
  }
  EXPECT_EQ(Snapshot(), before);
  EXPECT_TRUE(PrivateKeyIsGone());
}

TEST_F(Assuming, CleansUpIfThePlatformRefusesThePrivateView) {
  {
    KUV_IMPORT_HOOK(redirect, RegOverridePredefKey);
    redirect.Script({[](HKEY, HKEY) { return ERROR_ACCESS_DENIED; }});
    EXPECT_THROW(Assume("RdpOnly", L"1"), FilterHost::HostError);
  }
  EXPECT_TRUE(PrivateKeyIsGone());
  KUV_IMPORT_HOOK(write, RegSetValueExW);
  write.AnswerCall(2, [](auto...) { return ERROR_DISK_FULL; });
  EXPECT_THROW(Assume("RdpOnly", L"1"), FilterHost::HostError);
  EXPECT_TRUE(PrivateKeyIsGone());
}

// The machine itself is put back by null, which the platform asks for.
TEST(AssumingOnTheMachine, PutsTheMachineItselfBack) {
  KUV_IMPORT_HOOK(redirect, RegOverridePredefKey);
  try {
    ExamineAssuming(std::vector{Assumption{FindSetting("RdpOnly"), L"1"}});
  } catch (const FilterHost::HostError& error) {
    GTEST_SKIP() << "no view of this machine: " << error.what();
  }
  ASSERT_EQ(redirect.CallCount(), 2u);
  EXPECT_EQ(redirect.Calls().back(), (std::tuple<HKEY, HKEY>{HKEY_LOCAL_MACHINE, nullptr}));
}

// Every byte that goes into the copy.
TEST_F(Assuming, CopiesNoSecret) {
  registry.Local().SetText(L"SKeyy", L"sample-secret");
  KUV_IMPORT_HOOK(write, RegSetValueExW);
  std::size_t written = 0;
  write.Answer([&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD bytes) {
    const std::wstring units(reinterpret_cast<const wchar_t*>(data), bytes / sizeof(wchar_t));
    EXPECT_EQ(units.find(L"sample"), std::wstring::npos);
    EXPECT_EQ(units.find(L"secret"), std::wstring::npos);
    ++written;
    return write.Original(key, name, reserved, type, data, bytes);
  });
  const Situation situation = Assume("RdpOnly", L"1");
  EXPECT_EQ(written, 5u);
  EXPECT_EQ(StateOf(situation, "SKey").effective, "set");
}

}  // namespace
