#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Anomaly/Faults.h"
#include "Support/DecisionModel.h"

namespace KuvTest {

/// The expected effects of an operation of the DLL.
struct Expected {
  HRESULT result = S_OK;
  std::vector<BOOL> allow;  ///< the flags after `Filter`
  GUID provider{};          ///< the provider that `UpdateRemoteCredential` redirects to
};

/// The DLL made an unexpected call.
struct WrongCall : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Computes the expected effects from the results of the platform calls, including failures, and checks the
/// order of the calls. A simple, independent model of the rules for one load/unload cycle of the DLL.
class AnswerModel {
 public:
  Expected Filter(std::vector<Answer> answers, bool memoryFailed, std::uint32_t scenario, DWORD flags,
                  const std::vector<GUID>& providers, const std::vector<BOOL>& allow);
  Expected UpdateRemoteCredential(std::vector<Answer> answers, bool memoryFailed, const GUID& provider);
  Expected Register(std::vector<Answer> answers);
  Expected Unregister(std::vector<Answer> answers);

 private:
  struct Exhausted {};
  struct NotConfigured {};

  void Begin(std::vector<Answer> answers);
  void ExpectEnd() const;
  const Answer& Next(const std::string& function, const std::string& subject = {});
  bool OpensKey(const char* key);
  bool LoadText(const char* name, std::string& text);
  void LoadWhitelist();
  void LoadKey(const char* key);
  bool IsConfigured() const;
  DWORD LiveNumber(const char* name);
  bool IsRemote();
  std::vector<GUID> AllowedList();
  Outcome Decide(std::uint32_t scenario, DWORD flags);

  std::vector<Answer> answers_;
  std::size_t next_ = 0;

  std::string host_;
  int port_ = 0;
  std::string clientId_;
  std::string secret_;
  bool smartCards_ = false;
  bool wrap_ = false;
  std::vector<GUID> whitelist_;
};

}  // namespace KuvTest
