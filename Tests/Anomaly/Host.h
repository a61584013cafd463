#pragma once

#include <windows.h>
#include <unknwn.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Anomaly/AnswerModel.h"
#include "Anomaly/Faults.h"
#include "Support/FilterModule.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace KuvTest {

/// Plays the logon process with the built DLL while platform calls fail: a fixed script of loads,
/// requests, decisions, registrations and unloads on a machine with every setting that matters. Compares each
/// step with the answer model, and the resources after each load/unload cycle with those before.
class Host {
 public:
  Host();
  ~Host();

  /// Plays the script under a fault, then a few steps without it in the same process and DLL, and a short
  /// load/unload cycle. Fails the test at every result that is not allowed.
  void Play(const Fault& fault);
  /// Plays the script without a fault and compares the results with those in the source.
  void PlayNormally();

  FaultyImports& Imports() { return imports_; }
  /// Returns the number of steps whose result was compared so far.
  std::size_t StepCount() const { return steps_; }

 private:
  using Step = std::function<HRESULT()>;

  void PrepareMachine();
  void CleanUp();
  void Load();
  void Unload();
  std::optional<HRESULT> Ask(const char* step, const Step& call);
  void Expect(const char* step, HRESULT expected, const Step& call);
  IClassFactory* AskFactory();
  ICredentialProviderFilter* AskFilter(IClassFactory* factory);
  void AskInvalidly(IClassFactory* factory);
  void PlayDecisions(ICredentialProviderFilter* filter, std::size_t count);
  void Set(const TestKey& key, const wchar_t* name, DWORD value);
  void PlayCredentials(ICredentialProviderFilter* filter);
  void PlayRegistration();
  void PlayShortCycle();
  void PlayLongCycle();
  void PlayAfterFault(IClassFactory*& factory);
  void PlayNextCycle();
  void ExpectWellFormedLog() const;

  FaultyImports imports_;
  RegistrySandbox registry_;
  TempFolder appData_;
  std::optional<FilterModule> module_;
  AnswerModel model_;
  Fault fault_;
  bool normal_ = false;
  std::size_t steps_ = 0;
  std::map<std::wstring, DWORD> numbers_;
  std::size_t handles_ = 0;
};

}  // namespace KuvTest
