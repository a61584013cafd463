#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Anomaly/Faults.h"
#include "KuvCredFilter/CredentialProviderApi.h"

namespace KuvTest {

/// What an operation of the DLL must have done.
struct Verdict {
  HRESULT result = S_OK;
  std::vector<BOOL> allow;  ///< the flags after `Filter`
  GUID provider{};          ///< where `UpdateRemoteCredential` sends the credential
};

/// The DLL asked the platform for something else than it should have.
struct WrongQuestion : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Says what the DLL must do, from nothing but the answers that the platform gave it, the failing ones
/// included: a second, plain reading of the rules, for one life of the DLL.
class Judge {
 public:
  Verdict Filter(std::vector<Answer> answers, bool memoryFailed, std::uint32_t scenario, DWORD flags,
                 const std::vector<GUID>& providers, const std::vector<BOOL>& allow);
  Verdict UpdateRemoteCredential(std::vector<Answer> answers, bool memoryFailed, const GUID& provider);
  Verdict Register(std::vector<Answer> answers);
  Verdict Unregister(std::vector<Answer> answers);

 private:
  struct Exhausted {};
  struct NotConfigured {};

  void Begin(std::vector<Answer> answers);
  void ExpectNothingLeft() const;
  const Answer& Next(const std::string& function, const std::string& subject = {});
  bool OpensKey(const char* key);
  bool LoadText(const char* name, std::string& text);
  void LoadWhitelist();
  void LoadKey(const char* key);
  bool IsConfigured() const;
  DWORD AskNumber(const char* name);
  bool IsRemote();
  std::vector<GUID> AllowedList();
  int Decide(std::uint32_t scenario, DWORD flags);

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

/// The settings keys and what the tests write beside them.
inline constexpr char kLocalKey[] = "Software\\Kuvant\\KuvCredProv";
inline constexpr char kPolicyKey[] = "Software\\Policies\\Kuvant\\KuvCredProv";

}  // namespace KuvTest
