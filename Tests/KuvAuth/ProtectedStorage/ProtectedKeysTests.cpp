#include <windows.h>

#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "AclReader.h"
#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "SecurityCalls.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"
#include "Support/Wine.h"

namespace {

using KuvTest::AdminOnlyEntries;
using KuvTest::ExpectAdminOnly;
using KuvTest::LogCapture;
using KuvTest::LogLines;
using KuvTest::RegistrySandbox;
using KuvTest::SecurityCalls;

using Events = std::vector<std::string>;

constexpr char kLocal[] = "Software\\Kuvant\\KuvCredProv";
constexpr char kPolicy[] = "Software\\Policies\\Kuvant\\KuvCredProv";

// Records the calls that protect a key. A key is identified by the path with which it was opened.
class ProtectedKeys : public ::testing::Test {
 protected:
  ProtectedKeys() {
    open.Answer([this](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) -> LSTATUS {
      events.push_back(std::string{"open "} + path);
      EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
      EXPECT_EQ(options, 0u);
      EXPECT_EQ(access, 0xF003Fu);
      if (openStatus != ERROR_SUCCESS) return openStatus;
      const LSTATUS status = open.Original(root, path, options, access, key);
      if (status == ERROR_SUCCESS) keys.emplace_back(*key, path);
      return status;
    });
    protect.Answer([this](HKEY key, SECURITY_INFORMATION information, void* descriptor) -> LSTATUS {
      events.push_back("protect " + Path(key));
      EXPECT_EQ(information, 4u);
      ExpectAdminOnly(static_cast<SECURITY_DESCRIPTOR*>(descriptor));
      if (Path(key) == protectFailing) return ERROR_ACCESS_DENIED;
      return protect.Original(key, information, descriptor);
    });
    close.Answer([this](HKEY key) {
      if (!Path(key).empty()) {
        events.push_back("close " + Path(key));
        std::erase_if(keys, [key](const auto& entry) { return entry.first == key; });
      }
      return close.Original(key);
    });
  }

  std::string Path(HKEY key) const {
    for (const auto& [opened, path] : keys) {
      if (opened == key) return path;
    }
    return {};
  }

  static Events Opened(const std::string& path) { return {"open " + path}; }
  static Events Protected(const std::string& path) {
    return {"open " + path, "protect " + path, "close " + path};
  }

  RegistrySandbox registry;
  LogCapture log;
  LSTATUS openStatus = ERROR_SUCCESS;
  std::string protectFailing;
  Events events;
  std::vector<std::pair<HKEY, std::string>> keys;
  KuvTest::ImportHook<decltype(&::RegOpenKeyExA)> open{"RegOpenKeyExA"};
  KuvTest::ImportHook<decltype(&::RegSetKeySecurity)> protect{"RegSetKeySecurity"};
  KuvTest::ImportHook<decltype(&::RegCloseKey)> close{"RegCloseKey"};
};

Events operator+(Events events, const Events& more) {
  events.insert(events.end(), more.begin(), more.end());
  return events;
}

struct KeysRow {
  const char* name;
  bool localExists;
  bool policyExists;
  LSTATUS openStatus;
  const char* protectFailing;
  Events events;
  LogLines lines;
};

TEST_F(ProtectedKeys, AreBothProtectedAndOnlyAMissingPolicyKeyIsNotLogged) {
  const auto info = [](const std::string& text) { return LogLines{{LogLevel::Info, text}}; };
  const KeysRow rows[] = {
      {"both", true, true, 0, "", Protected(kLocal) + Protected(kPolicy), {}},
      {"no policy key", true, false, 0, "", Protected(kLocal) + Opened(kPolicy), {}},
      {"no local key", false, true, 0, "", Opened(kLocal) + Protected(kPolicy),
       info("RegOpenKeyEx Error 2 for key Software\\Kuvant\\KuvCredProv")},
      {"both denied", true, true, ERROR_ACCESS_DENIED, "", Opened(kLocal) + Opened(kPolicy),
       info("RegOpenKeyEx Error 5 for key Software\\Kuvant\\KuvCredProv")},
      {"local key not protected", true, true, 0, kLocal, Protected(kLocal) + Protected(kPolicy),
       info("RegSetKeySecurity Error 5 for key Software\\Kuvant\\KuvCredProv")},
      {"policy key not protected", true, true, 0, kPolicy, Protected(kLocal) + Protected(kPolicy),
       info("RegSetKeySecurity Error 5 for key Software\\Policies\\Kuvant\\KuvCredProv")},
  };
  for (const KeysRow& row : rows) {
    SCOPED_TRACE(row.name);
    if (row.localExists) registry.Local().Create();
    if (row.policyExists) registry.Policy().Create();
    openStatus = row.openStatus;
    protectFailing = row.protectFailing;
    events.clear();
    log.Clear();
    EXPECT_EQ(ProtectSettingsKeys(), std::string{row.name} == "both");
    EXPECT_EQ(events, row.events);
    EXPECT_EQ(log.Lines(), row.lines);
    if (row.localExists) registry.Local().Delete();
    if (row.policyExists) registry.Policy().Delete();
  }
}

TEST_F(ProtectedKeys, HaveTheAccessListAfterwards) {
  registry.Local().Create();
  registry.Policy().Create();
  ASSERT_TRUE(ProtectSettingsKeys());
  for (const char* const path : {kLocal, kPolicy}) {
    SCOPED_TRACE(path);
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(open.Original(HKEY_LOCAL_MACHINE, path, 0, READ_CONTROL, key.Put()), ERROR_SUCCESS);
    alignas(SECURITY_DESCRIPTOR) BYTE storage[1024];
    DWORD size = sizeof(storage);
    ASSERT_EQ(::RegGetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, storage, &size), ERROR_SUCCESS);
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ACL* acl = nullptr;
    ASSERT_NE(::GetSecurityDescriptorDacl(storage, &present, &acl, &defaulted), FALSE);
    const KuvTest::AclEntries entries = KuvTest::ReadAcl(acl);
    EXPECT_EQ(MeaningOf(entries, KuvTest::kKeyMapping), KuvTest::AdminOnlyKeyRights());
    if (KuvTest::RunsUnderWine()) {
      EXPECT_EQ(entries, AdminOnlyEntries());
    }
  }
}

TEST_F(ProtectedKeys, AreNotOpenedWithoutADescriptor) {
  registry.Local().Create();
  SecurityCalls platform;
  platform.Fail(5);
  EXPECT_FALSE(ProtectSettingsKeys());
  EXPECT_EQ(events, Events{});
  EXPECT_EQ(
      log.Lines(),
      (LogLines{{LogLevel::Warning, "CSecurityDescriptor::GetAdminOnlyDescriptor SetEntriesInAcl Error 1314"},
                {LogLevel::Warning,
                 "Unable to create security descriptor: Failed to create security descriptor"}}));
}

TEST_F(ProtectedKeys, PassAnyOtherExceptionOn) {
  KUV_IMPORT_HOOK(isValid, IsValidSecurityDescriptor);
  isValid.Answer([](void*) -> BOOL { throw std::runtime_error{"failed"}; });
  EXPECT_THROW(ProtectSettingsKeys(), std::runtime_error);
  EXPECT_EQ(events, Events{});
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ProtectedKeys, ReleaseTheDescriptor) {
  registry.Local().Create();
  SecurityCalls platform;
  ProtectSettingsKeys();
  EXPECT_EQ(platform.releases, (Events{"FreeSid 1", "LocalFree 2", "FreeSid 3", "LocalFree 4"}));
}

}  // namespace
