#include <filesystem>
#include <functional>

#include <gmock/gmock.h>

#include "FilterCheck/Judgment/RegistrationFindings.h"
#include "FilterCheck/Machine/RegistrationReader.h"
#include "Tools/FilterCheck/RegisteredMachine.h"

namespace {

using namespace KuvTest;
using FilterCheck::Finding;
using FilterCheck::Findings;
using FilterCheck::IsLoadable;
using FilterCheck::JudgeRegistration;
using FilterCheck::ReadRegistration;
using FilterCheck::Registration;
using FilterCheck::Severity;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class RegistrationCheck : public RegisteredMachine {
 protected:
  static Findings Judged() { return JudgeRegistration(ReadRegistration()); }

  // Expects one finding and returns it.
  static Finding Only(const std::string& id) {
    const Findings findings = Judged();
    EXPECT_THAT(Ids(findings), ElementsAre(id));
    return findings.empty() ? Finding{} : findings.front();
  }

  static std::string Narrow(const std::wstring& path) { return {path.begin(), path.end()}; }

  void Unregister(const ViewKeys& view) const {
    Class(view).Delete();
    Entry(view).Delete();
  }
};

const TestKey kSystemPolicies{HKEY_LOCAL_MACHINE,
                              L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System"};
constexpr char kForeignText[] = "{11111111-2222-3333-4444-555555555555}";

TEST_F(RegistrationCheck, ReadsValidRegistrationWithoutFindings) {
  const Registration registration = ReadRegistration();
  EXPECT_THAT(Ids(JudgeRegistration(registration)), IsEmpty());
  EXPECT_TRUE(IsLoadable(registration.filter[0]));
  EXPECT_TRUE(IsLoadable(registration.filter[1]));
  EXPECT_EQ(registration.filter[0].module, Narrow(module64));
  EXPECT_EQ(registration.filter[1].module, Narrow(module32));
  EXPECT_EQ(registration.filter[0].threadingModel, "Apartment");
  EXPECT_FALSE(registration.filter[0].wow64);
  EXPECT_TRUE(registration.filter[1].wow64);
  EXPECT_EQ(registration.filter[0].sameAsBeside, std::nullopt);
  EXPECT_TRUE(registration.kuvProviderInstalled);
  EXPECT_FALSE(registration.kuvSmartCardProviderInstalled);
  EXPECT_EQ(registration.excludedProviders, "");
  EXPECT_EQ(registration.defaultProvider, "");
  EXPECT_EQ(registration.prohibitFallbacks, std::nullopt);
}

TEST_F(RegistrationCheck, ReportsUnregisteredFilter) {
  Unregister(kView64);
  const Finding only32 = OnlyFinding(Judged(), "registration.not-registered");
  EXPECT_EQ(only32.severity, Severity::Problem);
  EXPECT_THAT(only32.text, HasSubstr("registered for 32-bit programs only"));
  Unregister(kView32);
  const Finding none = Only("registration.not-registered");
  EXPECT_EQ(none.severity, Severity::Problem);
  EXPECT_EQ(none.subject, "64-bit view");
  EXPECT_THAT(none.text, HasSubstr("The filter is not registered."));
  EXPECT_THAT(none.advice, HasSubstr("System32\\regsvr32.exe"));
  EXPECT_FALSE(IsLoadable(ReadRegistration().filter[0]));
}

TEST_F(RegistrationCheck, ReportsMissing32BitRegistrationAsNote) {
  Unregister(kView32);
  const Finding finding = Only("registration.32-bit-missing");
  EXPECT_EQ(finding.severity, Severity::Note);
  EXPECT_EQ(finding.subject, "32-bit view");
}

// A fault in one view, with the severity and effect of that view.
void ExpectFault(const Finding& finding, bool wow64, const std::string& id, const std::string& text) {
  EXPECT_EQ(finding.id, id);
  EXPECT_EQ(finding.severity, wow64 ? Severity::Warning : Severity::Problem);
  EXPECT_EQ(finding.subject, wow64 ? "32-bit view" : "64-bit view");
  EXPECT_THAT(finding.text, HasSubstr(text));
  EXPECT_THAT(finding.text, HasSubstr(wow64 ? "32-bit programs that show the credential dialog"
                                            : "the second factor is not required"));
  EXPECT_THAT(finding.advice, HasSubstr("regsvr32"));
}

TEST_F(RegistrationCheck, ReportsFaultsOfEachView) {
  struct Row {
    const char* id;
    const char* text;
    std::function<void(const ViewKeys& view)> damage;
  } const rows[] = {
      {"registration.not-listed", "not in the list of filters", [](auto& view) { Entry(view).Delete(); }},
      {"registration.class-missing", "its class key is missing", [](auto& view) { Class(view).Delete(); }},
      {"registration.module-missing", "does not name a module",
       [](auto& view) { Server(view).DeleteValue(L""); }},
      {"registration.module-missing", "gone.dll",
       [this](auto& view) { Server(view).SetText(L"", folder.Path(L"gone.dll")); }},
      {"registration.wrong-architecture", " DLL or cannot be read",
       [this](auto& view) { Server(view).SetText(L"", &view == &kView64 ? module32 : module64); }},
  };
  for (const Row& row : rows) {
    for (const bool wow64 : {false, true}) {
      SCOPED_TRACE(std::string{row.id} + (wow64 ? " 32-bit" : " 64-bit"));
      const ViewKeys& view = wow64 ? kView32 : kView64;
      row.damage(view);
      ExpectFault(OnlyFinding(Judged(), row.id), wow64, row.id, row.text);
      EXPECT_FALSE(IsLoadable(ReadRegistration().filter[wow64]));
      Register(view, kFilterClassText, wow64 ? module32 : module64);
      EXPECT_THAT(Ids(Judged()), IsEmpty());
    }
  }
}

TEST_F(RegistrationCheck, NamesTheExpectedArchitecture) {
  Server(kView64).SetText(L"", module32);
  Server(kView32).SetText(L"", module64);
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings),
              ElementsAre("registration.wrong-architecture", "registration.wrong-architecture"));
  ExpectFault(findings[0], /*wow64=*/false, "registration.wrong-architecture", "not an x64 DLL");
  ExpectFault(findings[1], /*wow64=*/true, "registration.wrong-architecture", "not an x86 DLL");
}

// The logon process of such a machine is an ARM64 program, which cannot load an x64 DLL.
TEST_F(RegistrationCheck, RequiresNativeModuleOnArm64) {
  const NativeMachine native{kArm64};
  ExpectFault(Only("registration.wrong-architecture"), /*wow64=*/false, "registration.wrong-architecture",
              "not an ARM64 DLL");
  EXPECT_FALSE(IsLoadable(ReadRegistration().filter[0]));
  WriteFileBytes(module64, ModuleBytes(kArm64));
  EXPECT_THAT(Judged(), IsEmpty());
  const Registration registration = ReadRegistration();
  EXPECT_EQ(registration.filter[0].architecture, "ARM64");
  EXPECT_EQ(registration.filter[1].architecture, "x86");
}

TEST_F(RegistrationCheck, ReportsPerUserClasses) {
  Class(kView64).Delete();
  Class(kView32).Delete();
  TestKey{HKEY_CLASSES_ROOT, L"CLSID\\" + kFilterClassText}.Create();
  TestKey{HKEY_CLASSES_ROOT, std::wstring{L"WOW6432Node\\CLSID\\"} + kFilterClassText}.Create();
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("registration.per-user-class", "registration.per-user-class"));
  ExpectFault(findings[0], /*wow64=*/false, "registration.per-user-class", "for the current user only");
  ExpectFault(findings[1], /*wow64=*/true, "registration.per-user-class", "for the current user only");
  EXPECT_TRUE(ReadRegistration().filter[0].onlyForThisUser);
}

TEST_F(RegistrationCheck, ReadsBothPathsOf32BitClasses) {
  Class(kView32).Delete();
  TestKey{HKEY_LOCAL_MACHINE,
          std::wstring{L"SOFTWARE\\Classes\\WOW6432Node\\CLSID\\"} + kFilterClassText + L"\\InprocServer32"}
      .SetText(L"", module32);
  EXPECT_EQ(ReadRegistration().filter[1].module, Narrow(module32));
}

TEST_F(RegistrationCheck, ReportsOtherThreadingModels) {
  Server(kView64).SetText(L"ThreadingModel", L"apartment");
  EXPECT_THAT(Ids(Judged()), IsEmpty());
  Server(kView64).SetText(L"ThreadingModel", L"Free");
  const Finding finding = Only("registration.threading-model");
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_THAT(finding.text, HasSubstr("'Free'. The filter requires 'Apartment'."));
  Server(kView64).DeleteValue(L"ThreadingModel");
  EXPECT_THAT(OnlyFinding(Judged(), "registration.threading-model").text, HasSubstr("''"));
}

TEST_F(RegistrationCheck, ComparesModuleWithDllNextToProgram) {
  WriteFileBytes(programs.Path(L"KuvCredFilter.dll"), ModuleBytes(kX64));
  const Registration registration = ReadRegistration();
  EXPECT_EQ(registration.filter[0].sameAsBeside, true);
  EXPECT_EQ(registration.filter[1].sameAsBeside, std::nullopt);
  EXPECT_THAT(Ids(JudgeRegistration(registration)), IsEmpty());
  WriteFileBytes(programs.Path(L"KuvCredFilter.dll"), ModuleBytes(kX64) + "newer");
  const Finding finding = Only("registration.other-module");
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_THAT(finding.text, HasSubstr(Narrow(module64)));
}

TEST_F(RegistrationCheck, Compares32BitModuleWithDllInSubfolder) {
  std::filesystem::create_directory(programs.Path(L"x86"));
  WriteFileBytes(programs.Path(L"x86\\KuvCredFilter.dll"), ModuleBytes(kX86) + "newer");
  EXPECT_EQ(ReadRegistration().filter[1].sameAsBeside, false);
}

TEST_F(RegistrationCheck, Compares32BitModuleWithDllIn32BitProgramFiles) {
  const TempFolder folder32;
  ::SetEnvironmentVariableW(L"ProgramW6432", programs.Path().c_str());
  ::SetEnvironmentVariableW(L"ProgramFiles(x86)", folder32.Path().c_str());
  WriteFileBytes(folder32.Path(L"KuvCredFilter.dll"), ModuleBytes(kX86));
  EXPECT_EQ(ReadRegistration().filter[1].sameAsBeside, true);
}

TEST_F(RegistrationCheck, ReportsOtherFilterAsNote) {
  Register(kView64, kForeign, module64);
  const Registration registration = ReadRegistration();
  ASSERT_EQ(registration.others.size(), 1u);
  EXPECT_EQ(registration.others[0].identifier, kForeignText);
  EXPECT_EQ(registration.others[0].name, "Some filter");
  EXPECT_EQ(registration.others[0].module, Narrow(module64));
  const Finding finding = Only("registration.other-filter");
  EXPECT_EQ(finding.severity, Severity::Note);
  EXPECT_EQ(finding.subject, std::string{"Some filter "} + kForeignText);
  EXPECT_THAT(finding.text,
              AllOf(HasSubstr(Narrow(module64)), HasSubstr("may show one that an earlier filter hid")));
}

TEST_F(RegistrationCheck, IgnoresGenericFilterOfWindows) {
  Register(kView64, L"{DDC0EED2-ADBE-40b6-A217-EDE16A79A0DE}", module64);
  EXPECT_EQ(ReadRegistration().others.size(), 1u);
  EXPECT_THAT(Ids(Judged()), IsEmpty());
}

TEST_F(RegistrationCheck, ReportsStaleFilterEntries) {
  Entry(kView32, kForeign).Create();
  const Finding withoutClass = Only("registration.stale-filter");
  EXPECT_EQ(withoutClass.severity, Severity::Warning);
  EXPECT_EQ(withoutClass.subject, kForeignText);
  EXPECT_THAT(withoutClass.text,
              AllOf(HasSubstr("list of filters of the 32-bit view"), HasSubstr("its class key is missing")));
  Entry(kView32, kForeign).Delete();
  Register(kView64, kForeign, folder.Path(L"gone.dll"));
  EXPECT_THAT(Only("registration.stale-filter").text, HasSubstr("gone.dll"));
}

TEST_F(RegistrationCheck, ReportsMissingKuvProvider) {
  ProviderKey(kKuvText).Delete();
  const Finding finding = Only("provider.kuv-missing");
  EXPECT_EQ(finding.severity, Severity::Problem);
  EXPECT_EQ(finding.subject, "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}");
}

TEST_F(RegistrationCheck, ReadsInstalledSmartCardProvider) {
  ProviderKey(L"{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}").Create();
  EXPECT_TRUE(ReadRegistration().kuvSmartCardProviderInstalled);
}

TEST_F(RegistrationCheck, ReportsExcludedKuvProvider) {
  kSystemPolicies.SetText(L"ExcludedCredentialProviders", kForeign);
  EXPECT_THAT(Ids(Judged()), IsEmpty());
  const std::wstring foreign = kForeign;
  kSystemPolicies.SetText(L"ExcludedCredentialProviders",
                          foreign + L", {5e1b7c30-9a42-4d6f-8c15-a3f02e76d418}");
  const Finding finding = Only("platform.kuv-excluded");
  EXPECT_EQ(finding.severity, Severity::Problem);
  EXPECT_THAT(finding.text, AllOf(HasSubstr("no one can sign in"), HasSubstr("may show the provider again")));
  std::wstring longList;
  for (int i = 0; i < 200; ++i) longList += foreign + L",";
  kSystemPolicies.SetText(L"ExcludedCredentialProviders", longList + kKuvText);
  Only("platform.kuv-excluded");
}

TEST_F(RegistrationCheck, IgnoresExclusionOfAnotherType) {
  kSystemPolicies.SetDword(L"ExcludedCredentialProviders", 1);
  EXPECT_EQ(ReadRegistration().excludedProviders, "");
}

TEST_F(RegistrationCheck, ReportsProhibitedFallbacksAsNote) {
  const TestKey providers{
      HKEY_LOCAL_MACHINE,
      L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers"};
  providers.SetDword(L"ProhibitFallbacks", 0);
  EXPECT_THAT(Ids(Judged()), IsEmpty());
  providers.SetDword(L"ProhibitFallbacks", 1);
  const Finding finding = Only("platform.fallbacks-prohibited");
  EXPECT_EQ(finding.severity, Severity::Note);
  EXPECT_THAT(finding.text, HasSubstr("safe mode"));
}

TEST_F(RegistrationCheck, ReadsDefaultProviderFromBothPolicyKeys) {
  kSystemPolicies.SetText(L"DefaultCredentialProvider", L"second");
  EXPECT_EQ(ReadRegistration().defaultProvider, "second");
  TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Policies\\Microsoft\\Windows\\System"}.SetText(
      L"DefaultCredentialProvider", L"first");
  EXPECT_EQ(ReadRegistration().defaultProvider, "first");
}

TEST_F(RegistrationCheck, ThrowsIfValueCannotBeRead) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Answer([](auto...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_THROW(ReadRegistration(), std::exception);
}

TEST_F(RegistrationCheck, ThrowsIfKeyCannotBeRead) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  open.Answer([](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  try {
    ReadRegistration();
    FAIL() << "nothing was thrown";
  } catch (const std::exception& error) {
    EXPECT_THAT(error.what(),
                AllOf(HasSubstr("cannot read the registry key SOFTWARE\\"), HasSubstr("(error 5)")));
  }
}

}  // namespace
