#include <filesystem>

#include <gmock/gmock.h>

#include "FilterCheck/Judgment/RegistrationFindings.h"
#include "FilterCheck/Machine/RegistrationReader.h"
#include "Tools/FilterCheck/RegisteredMachine.h"

namespace {

using FilterCheck::Finding;
using FilterCheck::Findings;
using FilterCheck::IsLoadable;
using FilterCheck::JudgeRegistration;
using FilterCheck::ReadRegistration;
using FilterCheck::Registration;
using FilterCheck::Severity;
using KuvTest::Ids;
using KuvTest::kView32;
using KuvTest::kView64;
using KuvTest::ModuleBytes;
using KuvTest::OnlyFinding;
using KuvTest::TestKey;
using KuvTest::WriteFileBytes;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class RegistrationCheck : public KuvTest::RegisteredMachine {
 protected:
  static Findings Judged() { return JudgeRegistration(ReadRegistration()); }

  static std::string Narrow(const std::wstring& path) { return {path.begin(), path.end()}; }
};

TEST_F(RegistrationCheck, GoodMachineHasNoFindings) {
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

TEST_F(RegistrationCheck, FilterThatIsNowhereIsAProblem) {
  for (const auto& view : {kView64, kView32}) {
    Class(view).Delete();
    Entry(view).Delete();
  }
  const Registration registration = ReadRegistration();
  const Findings findings = JudgeRegistration(registration);
  ASSERT_THAT(Ids(findings), ElementsAre("registration.not-registered"));
  const Finding finding = OnlyFinding(findings, "registration.not-registered");
  EXPECT_EQ(finding.severity, Severity::Problem);
  EXPECT_EQ(finding.subject, "64-bit view");
  EXPECT_THAT(finding.text, HasSubstr("The filter is not registered."));
  EXPECT_THAT(finding.advice, HasSubstr("System32\\regsvr32.exe"));
  EXPECT_FALSE(IsLoadable(registration.filter[0]));
}

TEST_F(RegistrationCheck, FilterFor32BitProgramsAloneIsAProblem) {
  Class(kView64).Delete();
  Entry(kView64).Delete();
  const Finding finding = OnlyFinding(Judged(), "registration.not-registered");
  EXPECT_EQ(finding.severity, Severity::Problem);
  EXPECT_THAT(finding.text, HasSubstr("registered for 32-bit programs only"));
}

TEST_F(RegistrationCheck, Missing32BitViewIsANote) {
  Class(kView32).Delete();
  Entry(kView32).Delete();
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("registration.32-bit-missing"));
  EXPECT_EQ(findings[0].severity, Severity::Note);
  EXPECT_EQ(findings[0].subject, "32-bit view");
}

struct ViewCase {
  const KuvTest::ViewKeys* keys;
  const char* name;
  Severity severity;
  const char* consequence;
};

const ViewCase kViews[] = {
    {&kView64, "64-bit view", Severity::Problem, "the second factor is off"},
    {&kView32, "32-bit view", Severity::Warning, "32-bit programs that show the credential dialog"},
};

void ExpectFault(const Findings& findings, const ViewCase& view, const std::string& id,
                 const std::string& text) {
  const Finding finding = OnlyFinding(findings, id);
  EXPECT_EQ(finding.severity, view.severity);
  EXPECT_EQ(finding.subject, view.name);
  EXPECT_THAT(finding.text, HasSubstr(text));
  EXPECT_THAT(finding.text, HasSubstr(view.consequence));
  EXPECT_THAT(finding.advice, HasSubstr("regsvr32"));
}

TEST_F(RegistrationCheck, ClassWithoutEntryInTheListIsAFault) {
  for (const ViewCase& view : kViews) {
    SCOPED_TRACE(view.name);
    Entry(*view.keys).Delete();
    ExpectFault(Judged(), view, "registration.not-listed", "not in the list of filters");
    EXPECT_FALSE(IsLoadable(ReadRegistration().filter[view.keys == &kView32]));
    Entry(*view.keys).Create();
  }
}

TEST_F(RegistrationCheck, EntryInTheListWithoutClassIsAFault) {
  for (const ViewCase& view : kViews) {
    SCOPED_TRACE(view.name);
    Class(*view.keys).Delete();
    ExpectFault(Judged(), view, "registration.class-missing", "its class key is gone");
    EXPECT_FALSE(IsLoadable(ReadRegistration().filter[view.keys == &kView32]));
    Register(*view.keys, kFilter, view.keys == &kView64 ? module64 : module32);
  }
}

TEST_F(RegistrationCheck, ClassOfTheUserAloneIsAFault) {
  Class(kView64).Delete();
  Class(kView32).Delete();
  TestKey{HKEY_CLASSES_ROOT, std::wstring{L"CLSID\\"} + kFilter}.Create();
  TestKey{HKEY_CLASSES_ROOT, std::wstring{L"WOW6432Node\\CLSID\\"} + kFilter}.Create();
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("registration.class-of-user", "registration.class-of-user"));
  ExpectFault({findings[0]}, kViews[0], "registration.class-of-user", "for the present user alone");
  ExpectFault({findings[1]}, kViews[1], "registration.class-of-user", "for the present user alone");
  EXPECT_TRUE(ReadRegistration().filter[0].onlyForThisUser);
}

TEST_F(RegistrationCheck, ClassesOf32BitProgramsHaveTwoNames) {
  Class(kView32).Delete();
  TestKey{HKEY_LOCAL_MACHINE,
          std::wstring{L"SOFTWARE\\Classes\\WOW6432Node\\CLSID\\"} + kFilter + L"\\InprocServer32"}
      .SetText(L"", module32);
  EXPECT_EQ(ReadRegistration().filter[1].module, Narrow(module32));
}

TEST_F(RegistrationCheck, ClassWithoutModuleIsAFault) {
  for (const ViewCase& view : kViews) {
    SCOPED_TRACE(view.name);
    Server(*view.keys).DeleteValue(L"");
    ExpectFault(Judged(), view, "registration.module-missing", "names no module");
    Server(*view.keys).SetText(L"", view.keys == &kView64 ? module64 : module32);
  }
}

TEST_F(RegistrationCheck, ModuleThatIsGoneIsAFault) {
  for (const ViewCase& view : kViews) {
    SCOPED_TRACE(view.name);
    Server(*view.keys).SetText(L"", folder.Path(L"gone.dll"));
    ExpectFault(Judged(), view, "registration.module-missing", "gone.dll");
    EXPECT_FALSE(IsLoadable(ReadRegistration().filter[view.keys == &kView32]));
    Server(*view.keys).SetText(L"", view.keys == &kView64 ? module64 : module32);
  }
}

TEST_F(RegistrationCheck, ModuleOfTheOtherArchitectureIsAFault) {
  Server(kView64).SetText(L"", module32);
  Server(kView32).SetText(L"", module64);
  const Findings findings = Judged();
  EXPECT_THAT(Ids(findings),
              ElementsAre("registration.wrong-architecture", "registration.wrong-architecture"));
  ExpectFault({findings[0]}, kViews[0], "registration.wrong-architecture", "no 64-bit DLL");
  ExpectFault({findings[1]}, kViews[1], "registration.wrong-architecture", "no 32-bit DLL");
  EXPECT_FALSE(IsLoadable(ReadRegistration().filter[0]));
}

TEST_F(RegistrationCheck, OtherThreadingModelIsAWarning) {
  Server(kView64).SetText(L"ThreadingModel", L"Free");
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("registration.threading-model"));
  EXPECT_EQ(findings[0].severity, Severity::Warning);
  EXPECT_THAT(findings[0].text, HasSubstr("'Free', not 'Apartment'"));
  Server(kView64).DeleteValue(L"ThreadingModel");
  EXPECT_THAT(OnlyFinding(Judged(), "registration.threading-model").text, HasSubstr("''"));
}

TEST_F(RegistrationCheck, ThreadingModelIsComparedWithoutCase) {
  Server(kView64).SetText(L"ThreadingModel", L"apartment");
  EXPECT_THAT(Ids(Judged()), IsEmpty());
}

TEST_F(RegistrationCheck, CopyOfTheDllBesideIsTheSame) {
  WriteFileBytes(programs.Path(L"KuvCredFilter.dll"), ModuleBytes(KuvTest::kX64));
  const Registration registration = ReadRegistration();
  EXPECT_EQ(registration.filter[0].sameAsBeside, true);
  EXPECT_EQ(registration.filter[1].sameAsBeside, std::nullopt);
  EXPECT_THAT(Ids(JudgeRegistration(registration)), IsEmpty());
}

TEST_F(RegistrationCheck, DllFor32BitProgramsLiesInAFolderBeside) {
  std::filesystem::create_directory(programs.Path(L"x86"));
  WriteFileBytes(programs.Path(L"x86\\KuvCredFilter.dll"), ModuleBytes(KuvTest::kX86) + "newer");
  EXPECT_EQ(ReadRegistration().filter[1].sameAsBeside, false);
}

TEST_F(RegistrationCheck, DllFor32BitProgramsOfTheInstallerLiesInTheirProgramFolder) {
  const KuvTest::TempFolder folder32;
  ::SetEnvironmentVariableW(L"ProgramW6432", programs.Path().c_str());
  ::SetEnvironmentVariableW(L"ProgramFiles(x86)", folder32.Path().c_str());
  WriteFileBytes(folder32.Path(L"KuvCredFilter.dll"), ModuleBytes(KuvTest::kX86));
  EXPECT_EQ(ReadRegistration().filter[1].sameAsBeside, true);
}

TEST_F(RegistrationCheck, OtherModuleThanTheOneBesideIsAWarning) {
  WriteFileBytes(programs.Path(L"KuvCredFilter.dll"), ModuleBytes(KuvTest::kX64) + "newer");
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("registration.other-module"));
  EXPECT_EQ(findings[0].severity, Severity::Warning);
  EXPECT_THAT(findings[0].text, HasSubstr(Narrow(module64)));
}

TEST_F(RegistrationCheck, OtherFilterIsANote) {
  Register(kView64, kForeign, module64);
  const Registration registration = ReadRegistration();
  ASSERT_EQ(registration.others.size(), 1u);
  EXPECT_EQ(registration.others[0].identifier, "{11111111-2222-3333-4444-555555555555}");
  EXPECT_EQ(registration.others[0].name, "Some filter");
  EXPECT_EQ(registration.others[0].module, Narrow(module64));
  const Findings findings = JudgeRegistration(registration);
  ASSERT_THAT(Ids(findings), ElementsAre("registration.other-filter"));
  EXPECT_EQ(findings[0].severity, Severity::Note);
  EXPECT_EQ(findings[0].subject, "Some filter {11111111-2222-3333-4444-555555555555}");
  EXPECT_THAT(findings[0].text, HasSubstr(Narrow(module64)));
  EXPECT_THAT(findings[0].text, HasSubstr("may show one that a filter before it hid"));
}

TEST_F(RegistrationCheck, FilterThatEveryMachineHasIsNoFinding) {
  Register(kView64, L"{DDC0EED2-ADBE-40b6-A217-EDE16A79A0DE}", module64);
  const Registration registration = ReadRegistration();
  EXPECT_EQ(registration.others.size(), 1u);
  EXPECT_THAT(Ids(JudgeRegistration(registration)), IsEmpty());
}

TEST_F(RegistrationCheck, EntryWhoseClassIsGoneIsStale) {
  Entry(kView32, kForeign).Create();
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("registration.stale-filter"));
  EXPECT_EQ(findings[0].severity, Severity::Warning);
  EXPECT_EQ(findings[0].subject, "{11111111-2222-3333-4444-555555555555}");
  EXPECT_THAT(findings[0].text, HasSubstr("list of filters of the 32-bit view"));
  EXPECT_THAT(findings[0].text, HasSubstr("its class key is gone"));
}

TEST_F(RegistrationCheck, EntryWhoseModuleIsGoneIsStale) {
  Register(kView64, kForeign, folder.Path(L"gone.dll"));
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("registration.stale-filter"));
  EXPECT_THAT(findings[0].text, HasSubstr("gone.dll"));
}

TEST_F(RegistrationCheck, MissingKuvProviderIsAProblem) {
  ProviderKey(KuvTest::kKuv).Delete();
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("provider.kuv-missing"));
  EXPECT_EQ(findings[0].severity, Severity::Problem);
  EXPECT_EQ(findings[0].subject, "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}");
}

TEST_F(RegistrationCheck, InstalledSmartCardProviderIsSeen) {
  ProviderKey(L"{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}").Create();
  EXPECT_TRUE(ReadRegistration().kuvSmartCardProviderInstalled);
}

TEST_F(RegistrationCheck, ExcludedKuvProviderIsAProblem) {
  const TestKey policies{HKEY_LOCAL_MACHINE,
                         L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System"};
  policies.SetText(L"ExcludedCredentialProviders", L"{11111111-2222-3333-4444-555555555555}");
  EXPECT_THAT(Ids(Judged()), IsEmpty());
  policies.SetText(L"ExcludedCredentialProviders",
                   L"{11111111-2222-3333-4444-555555555555}, {5e1b7c30-9a42-4d6f-8c15-a3f02e76d418}");
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("platform.kuv-excluded"));
  EXPECT_EQ(findings[0].severity, Severity::Problem);
  EXPECT_THAT(findings[0].text, HasSubstr("nobody can log on"));
  EXPECT_THAT(findings[0].text, HasSubstr("it may show it again"));
}

TEST_F(RegistrationCheck, ExclusionStandsInAListOfAnyLength) {
  std::wstring list;
  for (int i = 0; i < 200; ++i) list += L"{11111111-2222-3333-4444-555555555555},";
  TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System"}.SetText(
      L"ExcludedCredentialProviders", list + KuvTest::kKuv);
  EXPECT_THAT(Ids(Judged()), ElementsAre("platform.kuv-excluded"));
}

TEST_F(RegistrationCheck, TextThatIsNoneCountsAsNotSet) {
  const TestKey policies{HKEY_LOCAL_MACHINE,
                         L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System"};
  policies.SetDword(L"ExcludedCredentialProviders", 1);
  EXPECT_EQ(ReadRegistration().excludedProviders, "");
}

TEST_F(RegistrationCheck, TextThatCannotBeReadEndsTheRun) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Answer([](auto...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_THROW(ReadRegistration(), std::exception);
}

TEST_F(RegistrationCheck, ProhibitedFallbacksAreANote) {
  const TestKey providers{
      HKEY_LOCAL_MACHINE,
      L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers"};
  providers.SetDword(L"ProhibitFallbacks", 0);
  EXPECT_THAT(Ids(Judged()), IsEmpty());
  providers.SetDword(L"ProhibitFallbacks", 1);
  const Findings findings = Judged();
  ASSERT_THAT(Ids(findings), ElementsAre("platform.fallbacks-prohibited"));
  EXPECT_EQ(findings[0].severity, Severity::Note);
  EXPECT_THAT(findings[0].text, HasSubstr("safe mode"));
}

TEST_F(RegistrationCheck, DefaultProviderIsReadFromEitherPolicyKey) {
  TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System"}.SetText(
      L"DefaultCredentialProvider", L"second");
  EXPECT_EQ(ReadRegistration().defaultProvider, "second");
  TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Policies\\Microsoft\\Windows\\System"}.SetText(
      L"DefaultCredentialProvider", L"first");
  EXPECT_EQ(ReadRegistration().defaultProvider, "first");
}

TEST_F(RegistrationCheck, KeyThatMustNotBeReadEndsTheRun) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  open.Answer([](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  try {
    ReadRegistration();
    FAIL() << "nothing was thrown";
  } catch (const std::exception& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot read the registry key SOFTWARE\\"));
    EXPECT_THAT(error.what(), HasSubstr("(error 5)"));
  }
}

}  // namespace
