// The examination of the machine with what-if settings.
#include <gmock/gmock.h>

#include "Common/ToolError.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::ExamineWhatIf;
using FilterCheck::FindSetting;
using FilterCheck::Situation;
using FilterCheck::Source;
using FilterCheck::WhatIfSetting;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

bool PrivateKeyIsGone() {
  const std::wstring path = L"Software\\KuvFilterCheck." + std::to_wstring(::GetCurrentProcessId());
  return !TestKey{HKEY_CURRENT_USER, path}.Exists();
}

class WhatIf : public SettingsFixture {
 protected:
  static Situation ExamineWith(const char* name, const std::wstring& value) {
    return ExamineWhatIf(std::vector{WhatIfSetting{FindSetting(name), value}});
  }
};

TEST_F(WhatIf, MatchesTheCurrentStateWithoutSettings) {
  registry.Policy().SetDword(L"RdpOnly", 2);
  EXPECT_EQ(Describe(ExamineWhatIf({})), Describe(Examine()));
}

TEST_F(WhatIf, AppliesSeveralInOrder) {
  const std::vector<WhatIfSetting> settings{{FindSetting("RdpOnly"), L"1"},
                                            {FindSetting("EnableSmartCards"), L"1"},
                                            {FindSetting("RdpOnly"), L"0"}};
  const Situation situation = ExamineWhatIf(settings);
  EXPECT_EQ(StateOf(situation, "RdpOnly").effective, "0");
  EXPECT_EQ(StateOf(situation, "RdpOnly").source, Source::Local);
  EXPECT_EQ(StateOf(situation, "EnableSmartCards").effective, "1");
}

TEST_F(WhatIf, ReplacesThePolicyValueOfTheSetting) {
  registry.Policy().SetText(L"RdpOnly", L"of another type");
  const Situation situation = ExamineWith("RdpOnly", L"1");
  EXPECT_EQ(StateOf(situation, "RdpOnly").source, Source::Policy);
  EXPECT_FALSE(StateOf(situation, "RdpOnly").local);
  const Situation other = ExamineWith("Debug", L"1");
  EXPECT_EQ(StateOf(other, "Debug").source, Source::Local);
}

TEST_F(WhatIf, WritesToTheNamedKeyOnly) {
  using FilterCheck::WhatIfKey;
  const auto with = [](const char* name, const std::wstring& value, WhatIfKey key) {
    return ExamineWhatIf(std::vector{WhatIfSetting{FindSetting(name), value, key}});
  };
  // An empty text in policy hides the local one.
  const Situation empty = with("Host", L"", WhatIfKey::Policy);
  EXPECT_EQ(StateOf(empty, "Host").policy->bytes, 2u);
  EXPECT_TRUE(StateOf(empty, "Host").local);
  EXPECT_THAT(IdsOf(empty), ::testing::Contains("setting.empty-policy-overrides-local"));
  registry.Policy().SetText(L"Host", L"policy.example");
  const Situation local = with("Host", L"local.example", WhatIfKey::Local);
  EXPECT_EQ(StateOf(local, "Host").policy->shown, "policy.example");
  EXPECT_EQ(StateOf(local, "Host").local->shown, "local.example");
  EXPECT_EQ(StateOf(local, "Host").source, Source::Policy);
}

TEST_F(WhatIf, RemovesFromTheNamedKey) {
  using FilterCheck::WhatIfKey;
  registry.Policy().SetText(L"Host", L"policy.example");
  struct {
    WhatIfKey key;
    bool policy;
    bool local;
  } const rows[] = {{WhatIfKey::Policy, false, true},
                    {WhatIfKey::Local, true, false},
                    {WhatIfKey::Effective, false, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(FilterCheck::PrefixOf(row.key));
    const Situation situation = ExamineWhatIf(std::vector{WhatIfSetting{FindSetting("Host"), L"-", row.key}});
    EXPECT_EQ(StateOf(situation, "Host").policy.has_value(), row.policy);
    EXPECT_EQ(StateOf(situation, "Host").local.has_value(), row.local);
  }
}

TEST_F(WhatIf, RejectsAnEmptyNumberForANamedKey) {
  EXPECT_THROW(
      ExamineWhatIf(std::vector{WhatIfSetting{FindSetting("RdpOnly"), L"", FilterCheck::WhatIfKey::Policy}}),
      Tools::UsageError);
}

// A new policy key changes how other settings are read.
TEST_F(WhatIf, CreatesThePolicyKey) {
  registry.Local().SetDword(L"OfflineMaxUsers", 9);
  registry.Policy().Delete();
  EXPECT_EQ(StateOf(Examine(), "OfflineMaxUsers").effective, "9");
  const Situation situation =
      ExamineWhatIf(std::vector{WhatIfSetting{FindSetting("RdpOnly"), L"1", FilterCheck::WhatIfKey::Policy}});
  EXPECT_EQ(StateOf(situation, "OfflineMaxUsers").effective, "5");
  EXPECT_THAT(IdsOf(situation), ::testing::Contains("offline-users.discarded"));
  EXPECT_FALSE(registry.Policy().Exists());
}

TEST_F(WhatIf, NeedsNoLocalKey) {
  registry.Local().Delete();
  EXPECT_EQ(StateOf(ExamineWith("RdpOnly", L"1"), "RdpOnly").effective, "1");
  EXPECT_FALSE(registry.Local().Exists());
}

TEST_F(WhatIf, ThrowsForAnInvalidNumber) {
  const std::string before = Snapshot();
  for (const wchar_t* const value : {L"on", L"-1", L"+1", L"1 ", L" ", L"0x", L"0xG", L"4294967296",
                                     L"0x100000000", L"99999999999999999999999", L"1,2"}) {
    try {
      ExamineWith("RdpOnly", value);
      ADD_FAILURE() << testing::PrintToString(std::wstring{value}) << " was taken";
    } catch (const Tools::UsageError& error) {
      EXPECT_STREQ(error.what(), "RdpOnly requires a 32-bit number, decimal or hexadecimal with 0x");
    }
  }
  EXPECT_EQ(Snapshot(), before);
  EXPECT_TRUE(PrivateKeyIsGone());
}

TEST_F(WhatIf, AcceptsTheLargestNumber) {
  EXPECT_EQ(
      StateOf(ExamineWith("InactivityTimeoutSeconds", L"4294967295"), "InactivityTimeoutSeconds").effective,
      "4294967295");
  EXPECT_EQ(
      StateOf(ExamineWith("InactivityTimeoutSeconds", L"0xffFFffFF"), "InactivityTimeoutSeconds").effective,
      "4294967295");
}

// The examination fails while the registry is redirected to the private keys.
TEST_F(WhatIf, RestoresTheMachineAfterAFailure) {
  const std::string before = Snapshot();
  {
    KUV_IMPORT_HOOK(info, RegQueryInfoKeyW);
    // The first two calls read the real keys.
    info.AnswerCall(3, [](auto...) { return ERROR_OUTOFMEMORY; });
    EXPECT_THROW(ExamineWith("RdpOnly", L"1"), Tools::ToolError);
    EXPECT_EQ(info.CallCount(), 3u);
  }
  EXPECT_EQ(Snapshot(), before);
  EXPECT_TRUE(PrivateKeyIsGone());
}

TEST_F(WhatIf, CleansUpIfThePlatformRefusesThePrivateView) {
  {
    KUV_IMPORT_HOOK(redirect, RegOverridePredefKey);
    redirect.Script({[](HKEY, HKEY) { return ERROR_ACCESS_DENIED; }});
    EXPECT_THROW(ExamineWith("RdpOnly", L"1"), Tools::ToolError);
  }
  EXPECT_TRUE(PrivateKeyIsGone());
  KUV_IMPORT_HOOK(write, RegSetValueExW);
  write.AnswerCall(2, [](auto...) { return ERROR_DISK_FULL; });
  EXPECT_THROW(ExamineWith("RdpOnly", L"1"), Tools::ToolError);
  EXPECT_TRUE(PrivateKeyIsGone());
}

// The platform requires null to restore the real root.
TEST(WhatIfOnTheMachine, RestoresTheRealRoot) {
  KUV_IMPORT_HOOK(redirect, RegOverridePredefKey);
  try {
    ExamineWhatIf(std::vector{WhatIfSetting{FindSetting("RdpOnly"), L"1"}});
  } catch (const Tools::ToolError& error) {
    GTEST_SKIP() << "no view of this machine: " << error.what();
  }
  ASSERT_EQ(redirect.CallCount(), 2u);
  EXPECT_EQ(redirect.Calls().back(), (std::tuple<HKEY, HKEY>{HKEY_LOCAL_MACHINE, nullptr}));
}

// Checks every byte that is written to the copy.
TEST_F(WhatIf, CopiesNoSecret) {
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
  const Situation situation = ExamineWith("RdpOnly", L"1");
  EXPECT_EQ(written, 5u);
  EXPECT_EQ(StateOf(situation, "SKey").effective, "set");
}

// With any type of value.
TEST_F(WhatIf, CopiesNoByteOfASecretOfAnotherType) {
  struct Row {
    const char* name;
    DWORD type;
    std::string bytes;
    std::string copy;
  };
  const Row rows[] = {
      {"8-bit text", REG_BINARY, "sEcret", "xxxxxx"},
      {"with zeros", REG_BINARY, std::string{"s\0\0t", 4}, std::string{"x\0\0x", 4}},
      {"nothing but zeros", REG_BINARY, std::string(3, '\0'), std::string(3, '\0')},
      {"8-bit text as text", REG_SZ, "sEcret", std::string{"x\0x\0x\0", 6}},
      {"a byte after the text", REG_SZ, std::string{"s\0t", 3}, std::string{"x\0x", 3}},
      {"other letters", REG_SZ, std::string{"\xE9\0\x16\x04 \0\t\0\0\0", 10},
       std::string{"x\0x\0 \0\t\0\0\0", 10}},
      {"text to expand", REG_EXPAND_SZ, std::string{"\xE9\x01 \0", 4}, std::string{"xxx\0", 4}},
      {"list", REG_MULTI_SZ, std::string{"a\0\0\0\0\0", 6}, std::string{"x\0\0\0\0\0", 6}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    // The bytes after the value are not NUL. The platform would store them if the size were wrong.
    registry.Local().SetBytes(L"SKey", row.type, (row.bytes + "\xFF\xFF").data(), row.bytes.size());
    const std::string today = Describe(Examine());
    KUV_IMPORT_HOOK(write, RegSetValueExW);
    std::string copy = "none";
    write.Answer([&](HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD bytes) {
      if (std::wstring_view{name} == L"SKey") copy.assign(reinterpret_cast<const char*>(data), bytes);
      return write.Original(key, name, reserved, type, data, bytes);
    });
    const Situation situation = ExamineWhatIf({});
    EXPECT_EQ(copy, row.copy);
    EXPECT_EQ(Describe(situation), today);
  }
}

}  // namespace
