#pragma once

#include <windows.h>
#include <unknwn.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Anomaly/Faults.h"
#include "Anomaly/Judge.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace KuvTest {

/// Plays the logon process on the built DLL while the platform fails under it: a fixed script of loads,
/// requests, decisions, registrations and unloads on a machine with every setting that matters. Each step is
/// compared with the judge's verdict on the platform's answers; each life must leave nothing behind.
class Host {
 public:
  Host();
  ~Host();

  /// Plays the script under a fault, then a few steps without it in the same process and DLL, and a short
  /// life of the DLL loaded anew. Fails the test at whatever is not allowed.
  void Play(const Fault& fault);
  /// Plays the script with nothing failing, and compares with the answers that are written out.
  void PlayNormally();

  FaultyImports& Imports() { return imports_; }
  /// The steps played so far whose result was compared.
  std::size_t StepCount() const { return steps_; }

 private:
  using Step = std::function<HRESULT()>;

  void PrepareMachine();
  void Tidy();
  bool Load();
  void Unload();
  std::optional<HRESULT> Ask(const char* step, const Step& call);
  void Expect(const char* step, HRESULT expected, const Step& call);
  IClassFactory* AskFactory();
  ICredentialProviderFilter* AskFilter(IClassFactory* factory);
  void AskWrongly(IClassFactory* factory);
  void PlayDecisions(ICredentialProviderFilter* filter, std::size_t count);
  void Set(const TestKey& key, const wchar_t* name, DWORD value);
  void PlayCredentials(ICredentialProviderFilter* filter);
  void PlayRegistration();
  void PlayShortLife();
  void PlayLongLife();
  void PlayAftermath(IClassFactory*& factory);
  void PlayNextLife();
  void ExpectWholeLog() const;

  FaultyImports imports_;
  RegistrySandbox registry_;
  TempFolder appData_;
  HMODULE module_ = nullptr;
  Judge judge_;
  Fault fault_;
  bool normal_ = false;
  std::size_t steps_ = 0;
  std::map<std::wstring, DWORD> numbers_;
  std::size_t handles_ = 0;
};

}  // namespace KuvTest
