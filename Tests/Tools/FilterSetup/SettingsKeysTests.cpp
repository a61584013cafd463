// The command "prepare" and the settings keys.
#include <windows.h>
#include <sddl.h>

#include <sstream>

#include <gmock/gmock.h>

#include "KuvAuth/ProtectedStorage/AclReader.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "Tools/FilterSetup/SetupFixture.h"

namespace {

using namespace KuvTest;
using ::testing::HasSubstr;

constexpr char kLocal[] = "HKLM\\Software\\Kuvant\\KuvCredProv: ";
constexpr char kPolicy[] = "HKLM\\Software\\Policies\\Kuvant\\KuvCredProv: ";
constexpr char kCreated[] = "created for SYSTEM and Administrators only\n";
constexpr char kProtected[] = "protected: owner Administrators, access for SYSTEM and Administrators only\n";

constexpr char kAdministratorsOnly[] =
    "owner S-1-5-32-544, protected, S-1-3-0 0 f003f, S-1-5-18 f003f f003f, S-1-5-32-544 f003f f003f";

class PrepareSettingsKeys : public SetupFixture {
 protected:
  PrepareSettingsKeys() { MakeFolder(kProtectedFolder); }

  static SetupRun Prepare() { return RunSetup({L"prepare"}); }

  // Returns the owner of a key, whether its list is protected, and what the list means.
  static std::string Read(const wchar_t* path) {
    Kuv::UniqueRegistryKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, READ_CONTROL, key.Put()) != ERROR_SUCCESS) return {};
    alignas(SECURITY_DESCRIPTOR) BYTE descriptor[2048] = {};
    DWORD size = sizeof(descriptor);
    if (::RegGetKeySecurity(key.Get(), kWhat, descriptor, &size) != ERROR_SUCCESS) return {};
    PSID owner = nullptr;
    ACL* acl = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ::GetSecurityDescriptorOwner(descriptor, &owner, &defaulted);
    ::GetSecurityDescriptorDacl(descriptor, &present, &acl, &defaulted);
    ::GetSecurityDescriptorControl(descriptor, &control, &revision);
    std::ostringstream text;
    text << "owner " << SidText(owner) << ((control & SE_DACL_PROTECTED) != 0 ? ", protected" : "")
         << std::hex;
    for (const auto& [account, rights] : MeaningOf(ReadAcl(acl), kKeyMapping)) {
      text << ", " << account << " " << rights.own << " " << rights.inherited;
    }
    return text.str();
  }
  std::string LocalAccess() const { return Read(L"Software\\Kuvant\\KuvCredProv"); }
  std::string PolicyAccess() const { return Read(L"Software\\Policies\\Kuvant\\KuvCredProv"); }

  static void Set(const wchar_t* path, const wchar_t* sddl) {
    Kuv::UniqueLocalMemory<void> descriptor;
    ASSERT_NE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, descriptor.Put(),
                                                                     nullptr),
              FALSE);
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, WRITE_DAC | WRITE_OWNER, key.Put()),
              ERROR_SUCCESS);
    ASSERT_EQ(::RegSetKeySecurity(key.Get(), kWhat, descriptor.Get()), ERROR_SUCCESS);
  }

  static constexpr SECURITY_INFORMATION kWhat = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
};

TEST_F(PrepareSettingsKeys, CreatesAndProtectsLocalKey) {
  registry.Local().Delete();
  registry.Policy().Delete();
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, std::string{kLocal} + kCreated);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(LocalAccess(), kAdministratorsOnly);
  EXPECT_FALSE(registry.Policy().Exists());
  EXPECT_EQ(Prepare().out, "nothing to change\n");
}

// Wine ignores the descriptor of a new key, so the call is examined.
TEST_F(PrepareSettingsKeys, CreatesLocalKeyWithItsDescriptorAndParentWithDefault) {
  registry.Local().Delete();
  KUV_IMPORT_HOOK(create, RegCreateKeyExA);
  std::vector<std::string> paths;
  std::vector<std::wstring> texts;
  create.Answer([&](HKEY root, const char* path, DWORD reserved, char* type, DWORD options, REGSAM access,
                    SECURITY_ATTRIBUTES* attributes, HKEY* key, DWORD* disposition) {
    paths.emplace_back(path);
    texts.emplace_back();
    if (attributes != nullptr) {
      Kuv::UniqueLocalMemory<wchar_t> text;
      ::ConvertSecurityDescriptorToStringSecurityDescriptorW(attributes->lpSecurityDescriptor,
                                                             SDDL_REVISION_1, kWhat, text.Put(), nullptr);
      texts.back() = text.Get();
    }
    return create.Original(root, path, reserved, type, options, access, attributes, key, disposition);
  });
  Prepare();
  EXPECT_EQ(paths, (std::vector<std::string>{"Software\\Kuvant", "Software\\Kuvant\\KuvCredProv"}));
  EXPECT_EQ(texts, (std::vector<std::wstring>{L"", AdministratorsOnly()}));
}

TEST_F(PrepareSettingsKeys, ProtectsBothKeysAndKeepsTheirValues) {
  registry.Policy().SetText(L"Host", L"other");
  const std::string before = Snapshot();
  Set(L"Software\\Kuvant\\KuvCredProv", L"O:BAD:P(A;CI;KA;;;SY)(A;CI;KA;;;BA)(A;CI;KR;;;BU)");
  Set(L"Software\\Policies\\Kuvant\\KuvCredProv", L"O:S-1-5-21-1-2-3-1001D:P(A;CI;KA;;;SY)(A;CI;KA;;;BA)");
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, std::string{kLocal} + kProtected + kPolicy + kProtected);
  EXPECT_EQ(LocalAccess(), kAdministratorsOnly);
  EXPECT_EQ(PolicyAccess(), kAdministratorsOnly);
  EXPECT_EQ(Snapshot(), before);
  EXPECT_EQ(Prepare().out, "nothing to change\n");
}

TEST_F(PrepareSettingsKeys, AcceptsProtectionByInstallerOrSystem) {
  Set(L"Software\\Kuvant\\KuvCredProv", L"O:SYD:P(A;CI;KA;;;SY)(A;CI;KA;;;BA)");
  EXPECT_EQ(Prepare().out, "nothing to change\n");
  EXPECT_THAT(LocalAccess(), HasSubstr("owner S-1-5-18, "));
}

TEST_F(PrepareSettingsKeys, ChangesNothingInDryRun) {
  Set(L"Software\\Kuvant\\KuvCredProv", L"O:BAD:P(A;CI;KA;;;WD)");
  registry.Policy().Delete();
  const std::string before = LocalAccess();
  const SetupRun run = RunSetup({L"prepare", L"--dry-run"});
  EXPECT_EQ(run.out, std::string{kLocal} + "would be " + kProtected);
  EXPECT_EQ(LocalAccess(), before);
}

// The reasons for which a key cannot be prepared. The next run completes what is left.
class FailingSettingsKeys : public PrepareSettingsKeys {
 protected:
  static void ExpectFailure(const std::string& reason) {
    const SetupRun run = Prepare();
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, testing::StartsWith("KuvFilterSetup: " + std::string{kLocal} + reason));
    EXPECT_THAT(run.err, HasSubstr("(error 5)\n"));
  }

  void ExpectRecovery() {
    EXPECT_EQ(Prepare().exitCode, 0);
    EXPECT_EQ(LocalAccess(), kAdministratorsOnly);
    EXPECT_EQ(Prepare().out, "nothing to change\n");
  }

  static void OpenToUsers() { Set(L"Software\\Kuvant\\KuvCredProv", L"O:BAD:P(A;CI;KA;;;WD)"); }
};

TEST_F(FailingSettingsKeys, CannotBeOpened) {
  OpenToUsers();
  {
    KUV_IMPORT_HOOK(open, RegOpenKeyExA);
    open.Answer([](auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    ExpectFailure("cannot be opened: ");
  }
  ExpectRecovery();
}

TEST_F(FailingSettingsKeys, CannotBeCreated) {
  registry.Local().Delete();
  for (const std::size_t call : {1, 2}) {
    KUV_IMPORT_HOOK(create, RegCreateKeyExA);
    create.AnswerCall(call, [](auto, auto, auto, auto, auto, auto, auto, auto, auto) -> LSTATUS {
      return ERROR_ACCESS_DENIED;
    });
    ExpectFailure("cannot be created: ");
    EXPECT_FALSE(registry.Local().Exists());
  }
  ExpectRecovery();
}

TEST_F(FailingSettingsKeys, CannotBeGivenToAdministrators) {
  OpenToUsers();
  const std::string before = LocalAccess();
  {
    KUV_IMPORT_HOOK(set, RegSetKeySecurity);
    set.AnswerCall(1, [](HKEY, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR) -> LSTATUS {
      EXPECT_EQ(what, SECURITY_INFORMATION{OWNER_SECURITY_INFORMATION});
      return ERROR_ACCESS_DENIED;
    });
    ExpectFailure("cannot be given to Administrators: ");
  }
  EXPECT_EQ(LocalAccess(), before);
  ExpectRecovery();
}

TEST_F(FailingSettingsKeys, CannotBeProtectedByLibrary) {
  OpenToUsers();
  {
    KUV_IMPORT_HOOK(open, RegOpenKeyExA);
    open.Answer([&](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) -> LSTATUS {
      if (access == KEY_ALL_ACCESS) return ERROR_ACCESS_DENIED;
      return open.Original(root, path, options, access, key);
    });
    ExpectFailure("cannot be opened: ");
  }
  ExpectRecovery();
}

TEST_F(FailingSettingsKeys, KeepTheirAccessListUnnoticed) {
  OpenToUsers();
  {
    KUV_IMPORT_HOOK(set, RegSetKeySecurity);
    set.AnswerCall(2, [](auto, auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    const SetupRun run = Prepare();
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "KuvFilterSetup: " + std::string{kLocal} + "the access list could not be replaced\n");
    EXPECT_EQ(run.out, "");
  }
  ExpectRecovery();
}

TEST_F(FailingSettingsKeys, DoNotKeepTheOtherFromProtection) {
  OpenToUsers();
  Set(L"Software\\Policies\\Kuvant\\KuvCredProv", L"O:BAD:P(A;CI;KA;;;WD)");
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  open.AnswerCall(1, [](auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, std::string{kPolicy} + kProtected);
  EXPECT_EQ(PolicyAccess(), kAdministratorsOnly);
}

}  // namespace
