// Who may use the settings keys and the log folder.
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <filesystem>

#include <gmock/gmock.h>

#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::Finding;
using FilterCheck::Severity;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr wchar_t kTrustedInstaller[] = L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";

using Descriptor = Kuv::UniqueLocalMemory<void>;

Descriptor MakeDescriptor(const std::wstring& sddl) {
  Descriptor descriptor;
  if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, descriptor.Put(),
                                                             nullptr) == FALSE) {
    throw std::runtime_error{"no descriptor of " + WideToUtf8(sddl)};
  }
  return descriptor;
}

ACL* ListOf(const Descriptor& descriptor) {
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  ACL* acl = nullptr;
  ::GetSecurityDescriptorDacl(descriptor.Get(), &present, &acl, &defaulted);
  return acl;
}

PSID OwnerOf(const Descriptor& descriptor) {
  PSID owner = nullptr;
  BOOL defaulted = FALSE;
  ::GetSecurityDescriptorOwner(descriptor.Get(), &owner, &defaulted);
  return owner;
}

// SYSTEM and administrators, and others behind them.
std::wstring With(const std::wstring& others) {
  return L"D:P(A;OICI;KA;;;SY)(A;OICI;KA;;;BA)(A;CIIO;KA;;;CO)" + others;
}

class AccessFindings : public SettingsFixture {
 protected:
  AccessFindings() : named("GetNamedSecurityInfoW") {
    named.Answer([this](auto path, SE_OBJECT_TYPE type, SECURITY_INFORMATION what, PSID* owner, PSID* group,
                        PACL* acl, PACL* audit, PSECURITY_DESCRIPTOR* descriptor) -> DWORD {
      EXPECT_EQ(std::wstring{path}, appData.Path(L"Kuvant"));
      EXPECT_EQ(type, SE_FILE_OBJECT);
      if (folderStatus == ERROR_SUCCESS && !folder.empty()) {
        Descriptor answer = MakeDescriptor(folder);
        *acl = ListOf(answer);
        *owner = OwnerOf(answer);
        *descriptor = answer.Release();
        return ERROR_SUCCESS;
      }
      if (folderStatus != ERROR_SUCCESS) return folderStatus;
      return named.Original(path, type, what, owner, group, acl, audit, descriptor);
    });
  }

  static void Protect(const wchar_t* path, const std::wstring& sddl) {
    const Descriptor descriptor = MakeDescriptor(sddl);
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_ALL_ACCESS, key.Put()), ERROR_SUCCESS);
    ASSERT_EQ(::RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, descriptor.Get()), ERROR_SUCCESS);
  }

  static void ProtectLocal(const std::wstring& sddl) { Protect(L"Software\\Kuvant\\KuvCredProv", sddl); }
  static void ProtectPolicy(const std::wstring& sddl) {
    Protect(L"Software\\Policies\\Kuvant\\KuvCredProv", sddl);
  }

  // The descriptor of the log folder; the platform's own answer if empty.
  std::wstring folder;
  DWORD folderStatus = ERROR_SUCCESS;
  ImportHook<decltype(&::GetNamedSecurityInfoW)> named;
};

TEST_F(AccessFindings, AdministratorsAndCreatorsAreNoFinding) {
  ProtectLocal(With(L"(A;;KA;;;S-1-5-21-1-2-3-1001)(A;;KA;;;S-1-5-21-1-2-3-512)"));
  folder = With(L"");
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(AccessFindings, ReadersOfTheSecretAreAWarning) {
  ProtectLocal(With(L"(A;;KR;;;BU)"));
  const FilterCheck::Situation situation = Examine();
  ASSERT_THAT(IdsOf(situation), ElementsAre("access.key"));
  const Finding& finding = situation.findings.front();
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_EQ(finding.subject, "HKLM\\Software\\Kuvant\\KuvCredProv");
  EXPECT_EQ(
      finding.text,
      "Ordinary users (Users) can read HKLM\\Software\\Kuvant\\KuvCredProv. Whoever can read it can read "
      "the client key.");
  EXPECT_EQ(finding.advice,
            "Grant access to SYSTEM and Administrators only, and remove inherited permissions from the key.");
}

TEST_F(AccessFindings, ReadersOfAKeyWithoutTheSecretAreANote) {
  ProtectPolicy(With(L"(A;;KR;;;AU)"));
  const FilterCheck::Situation situation = Examine();
  ASSERT_THAT(IdsOf(situation), ElementsAre("access.key"));
  EXPECT_EQ(situation.findings.front().severity, Severity::Note);
  EXPECT_EQ(situation.findings.front().subject, "HKLM\\Software\\Policies\\Kuvant\\KuvCredProv");
  EXPECT_THAT(situation.findings.front().text, Not(HasSubstr("client key")));
}

TEST_F(AccessFindings, WritersAreAWarning) {
  for (const wchar_t* const right : {L"KA", L"KW", L"0x2", L"SD", L"WD", L"WO", L"GA", L"GW"}) {
    ProtectPolicy(With(L"(A;;" + std::wstring{right} + L";;;WD)"));
    const FilterCheck::Situation situation = Examine();
    ASSERT_THAT(IdsOf(situation), ElementsAre("access.key")) << WideToUtf8(right);
    EXPECT_EQ(situation.findings.front().severity, Severity::Warning);
    EXPECT_THAT(situation.findings.front().text,
                AllOf(StartsWith("Ordinary users (Everyone) can "),
                      HasSubstr("write HKLM\\Software\\Policies\\Kuvant\\KuvCredProv. Whoever can write to "
                                "it can turn off the second factor.")));
  }
}

TEST_F(AccessFindings, EveryOrdinaryGroupIsNamedOnce) {
  ProtectLocal(
      With(L"(A;;KR;;;WD)(A;;KA;;;IU)(A;;KR;;;WD)(A;;KR;;;AC)(A;;KR;;;S-1-5-21-1-2-3-513)(A;;KR;;;BG)"));
  EXPECT_THAT(
      Examine().findings.front().text,
      HasSubstr("Ordinary users (Everyone, Interactive, All application packages, Domain Users, Guests) can "
                "read and write HKLM"));
}

TEST_F(AccessFindings, WhatIsDeniedInheritedOnlyOrHarmlessIsNone) {
  ProtectLocal(L"D:P(D;;KA;;;BG)" + With(L"(A;;KR;;;BG)(A;CIIO;KA;;;WD)(A;;0x8;;;AU)").substr(3));
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(AccessFindings, ADenialCountsForItsGroupAndForWhatStandsBehindIt) {
  ProtectLocal(With(L"(A;;KR;;;BG)(D;;KA;;;BG)"));
  EXPECT_THAT(IdsOf(Examine()), ElementsAre("access.key"));
  ProtectLocal(L"D:P(D;;KA;;;BG)" + With(L"(A;;KR;;;AC)").substr(3));
  EXPECT_THAT(IdsOf(Examine()), ElementsAre("access.key"));
  ProtectLocal(L"D:P(D;CIIO;KA;;;BG)" + With(L"(A;;KR;;;BG)").substr(3));
  EXPECT_THAT(IdsOf(Examine()), ElementsAre("access.key"));
}

TEST_F(AccessFindings, NoListAtAllIsOpenToEveryone) {
  named.Answer([](auto, auto, auto, auto, auto, PACL* acl, auto, auto) -> DWORD {
    *acl = nullptr;
    return ERROR_SUCCESS;
  });
  EXPECT_THAT(Examine().findings.front().text,
              HasSubstr("Ordinary users (Everyone) can read and write the log folder"));
}

TEST_F(AccessFindings, OfTheLogFolder) {
  folder = With(L"(A;OICI;0x1200a9;;;BU)");
  const FilterCheck::Situation situation = Examine();
  ASSERT_THAT(IdsOf(situation), ElementsAre("access.log-folder"));
  const Finding& finding = situation.findings.front();
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_EQ(finding.subject, WideToUtf8(appData.Path(L"Kuvant")));
  EXPECT_THAT(finding.text, HasSubstr("Ordinary users (Users) can read the log folder C:"));
  EXPECT_THAT(finding.advice, HasSubstr("at the next start of its log"));
  for (const wchar_t* const right : {L"0x2", L"0x4", L"0x40", L"SD", L"GA"}) {
    folder = With(L"(A;;" + std::wstring{right} + L";;;BU)");
    EXPECT_THAT(Examine().findings.front().text,
                AllOf(HasSubstr("(Users) can "), HasSubstr("write the log folder")))
        << WideToUtf8(right);
  }
}

TEST_F(AccessFindings, AnOwnerThatCanOpenTheFolderAgainIsAWarning) {
  for (const wchar_t* const owner : {L"SY", L"BA", kTrustedInstaller}) {
    folder = L"O:" + std::wstring{owner} + With(L"");
    EXPECT_THAT(IdsOf(Examine()), IsEmpty()) << WideToUtf8(owner);
  }
  folder = L"O:S-1-5-21-1-2-3-1001" + With(L"");
  const FilterCheck::Situation situation = Examine();
  ASSERT_THAT(IdsOf(situation), ElementsAre("access.owner"));
  const Finding& finding = situation.findings.front();
  const std::string path = WideToUtf8(appData.Path(L"Kuvant"));
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_EQ(finding.subject, path);
  EXPECT_EQ(finding.text,
            path + " is owned by S-1-5-21-1-2-3-1001, who can grant access to others at any time.");
  EXPECT_EQ(finding.advice, "Make Administrators the owner.");
}

TEST_F(AccessFindings, AnOwnerThatCanOpenAKeyAgainIsAWarning) {
  KUV_IMPORT_HOOK(info, GetSecurityInfo);
  const Descriptor stranger = MakeDescriptor(L"O:S-1-5-21-1-2-3-1001" + With(L""));
  info.Answer([&](auto, auto, auto, PSID* owner, auto, PACL* acl, auto, auto) -> DWORD {
    *owner = OwnerOf(stranger);
    *acl = ListOf(stranger);
    return ERROR_SUCCESS;
  });
  const FilterCheck::Situation situation = Examine();
  ASSERT_THAT(IdsOf(situation), ElementsAre("access.owner", "access.owner"));
  EXPECT_EQ(situation.findings[0].subject, "HKLM\\Software\\Policies\\Kuvant\\KuvCredProv");
  EXPECT_EQ(situation.findings[1].subject, "HKLM\\Software\\Kuvant\\KuvCredProv");
}

TEST_F(AccessFindings, AFolderThatIsNotThereIsNone) {
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
  EXPECT_EQ(named.CallCount(), 1u);
  folderStatus = ERROR_PATH_NOT_FOUND;
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(AccessFindings, AFolderThatIsThereIsAsked) {
  std::filesystem::create_directory(appData.Path(L"Kuvant"));
  EXPECT_NO_THROW(Examine());
}

// As for a user who is no administrator: the folder is closed, which is as it should be.
TEST_F(AccessFindings, AFolderThatKeepsItsListClosedIsANote) {
  folderStatus = ERROR_ACCESS_DENIED;
  const FilterCheck::Situation situation = Examine();
  ASSERT_THAT(IdsOf(situation), ElementsAre("access.unknown"));
  EXPECT_EQ(situation.findings.front().severity, Severity::Note);
  EXPECT_EQ(situation.findings.front().subject, WideToUtf8(appData.Path(L"Kuvant")));
  EXPECT_THAT(situation.findings.front().text, HasSubstr("cannot be read: "));
  EXPECT_THAT(situation.findings.front().text, HasSubstr("(error 5)"));
  EXPECT_EQ(situation.findings.front().advice, "Run KuvFilterCheck as an administrator.");
}

TEST_F(AccessFindings, AKeyThatKeepsItsListClosedIsANote) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  open.Answer([&](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) -> LSTATUS {
    if (access == READ_CONTROL && std::string{path} == "Software\\Kuvant\\KuvCredProv")
      return ERROR_ACCESS_DENIED;
    return open.Original(root, path, options, access, key);
  });
  const FilterCheck::Situation situation = Examine();
  ASSERT_THAT(IdsOf(situation), ElementsAre("access.unknown"));
  EXPECT_EQ(situation.findings.front().subject, "HKLM\\Software\\Kuvant\\KuvCredProv");
}

}  // namespace
