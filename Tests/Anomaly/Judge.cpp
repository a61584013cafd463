#include "Anomaly/Judge.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Anomaly/Providers.h"

namespace KuvTest {

namespace {

constexpr int kUntouched = 0;
constexpr int kOnlyAllowed = 1;
constexpr int kWithoutKuv = 2;

bool Holds(const std::vector<GUID>& list, const GUID& provider) {
  return std::find(list.begin(), list.end(), provider) != list.end();
}

bool IsOurs(const GUID& provider) {
  return provider == kKuvProvider || provider == kKuvSmartCardProvider;
}

std::vector<BOOL> WithoutKuv(const std::vector<GUID>& providers) {
  std::vector<BOOL> allow;
  for (const GUID& provider : providers) allow.push_back(IsOurs(provider) ? FALSE : TRUE);
  return allow;
}

HRESULT FromStatus(std::intptr_t status) {
  return status <= 0 ? static_cast<HRESULT>(status) : static_cast<HRESULT>(0x80070000 | (status & 0xFFFF));
}

constexpr char kClassKey[] = "CLSID\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}";
constexpr char kServerKey[] = "CLSID\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}\\InprocServer32";
constexpr char kFilterKey[] =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider Filters\\"
    "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}";

}  // namespace

void Judge::Begin(std::vector<Answer> answers) {
  answers_ = std::move(answers);
  next_ = 0;
}

// Answers that nobody reads any more mean a question too many.
void Judge::ExpectNothingLeft() const {
  if (next_ == answers_.size()) return;
  const Answer& left = answers_[next_];
  throw WrongQuestion{"asked too much: " + left.function + " " + left.subject};
}

const Answer& Judge::Next(const std::string& function, const std::string& subject) {
  if (next_ == answers_.size()) throw Exhausted{};
  const Answer& answer = answers_[next_++];
  if (answer.function != function || answer.subject != subject) {
    throw WrongQuestion{"asked " + answer.function + " " + answer.subject + " instead of " + function + " " +
                        subject};
  }
  return answer;
}

bool Judge::OpensKey(const char* key) {
  return Next("RegOpenKeyExA", key).result == 0;
}

bool Judge::LoadText(const char* name, std::string& text) {
  const Answer& answer = Next("RegQueryValueExA", name);
  if (answer.result != 0 || answer.type != REG_SZ || answer.data.empty()) return false;
  text.clear();
  for (const std::uint8_t byte : answer.data) {
    if (byte == 0) break;
    if (std::strchr(" \t\r\n\v\f", byte) == nullptr) text += static_cast<char>(byte);
  }
  return true;
}

void Judge::LoadWhitelist() {
  const Answer answer = Next("RegQueryValueExW", "ProvidersWhitelist");
  if (answer.result != 0 || answer.type != REG_MULTI_SZ) return;
  whitelist_.clear();
  std::wstring text(answer.data.size() / sizeof(wchar_t) + 1, L'\0');
  std::memcpy(text.data(), answer.data.data(), answer.data.size());
  for (const wchar_t* entry = text.c_str(); *entry != L'\0'; entry += std::wcslen(entry) + 1) {
    const Answer& identifier = Next("CLSIDFromString");
    if (identifier.result != 0) continue;
    GUID provider{};
    std::memcpy(&provider, identifier.data.data(), sizeof(provider));
    whitelist_.push_back(provider);
  }
}

void Judge::LoadKey(const char* key) {
  if (!OpensKey(key)) return;
  if (OpensKey(key)) Next("RegQueryValueExW", "Debug");
  std::string host;
  if (LoadText("Host", host)) {
    std::transform(host.begin(), host.end(), host.begin(), [](char unit) {
      return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit + 32) : unit;
    });
    const std::size_t colon = host.find(':');
    port_ = colon == std::string::npos ? 443 : std::atoi(host.c_str() + colon + 1) & 0xFFFF;
    host_ = host.substr(0, colon);
  }
  LoadText("IKey", clientId_);
  LoadText("SKey", secret_);
  const auto number = [this](const char* name, bool* flag = nullptr) {
    const Answer& answer = Next("RegQueryValueExA", name);
    if (flag == nullptr || answer.result != 0 || answer.type != REG_DWORD) return;
    *flag = std::any_of(answer.data.begin(), answer.data.end(), [](std::uint8_t byte) { return byte != 0; });
  };
  number("FailOpen");
  number("EnableSmartCards", &smartCards_);
  number("WrapSmartCards", &wrap_);
  for (const char* const name : {"AutoPush", "local_ip_fallback", "UsernameFormatForService", "HttpProxyHost",
                                 "HttpProxyPort", "OfflineAvailable", "OfflineMaxUsers"}) {
    number(name);
  }
  LoadWhitelist();
  for (const char* const name : {"ElevationProtectionMode", "ElevationOfflineEnable",
                                 "ElevationOfflineEnrollment", "InactivityTimeoutSeconds"}) {
    number(name);
  }
}

bool Judge::IsConfigured() const {
  return !host_.empty() && port_ != 0 && !clientId_.empty() && !secret_.empty();
}

// The number of a setting at this moment, 0 if nobody has it.
DWORD Judge::AskNumber(const char* name) {
  for (const char* const key : {kPolicyKey, kLocalKey}) {
    if (!OpensKey(key)) continue;
    const Answer& answer = Next("RegQueryValueExA", name);
    if (answer.result != 0 || answer.type != REG_DWORD || answer.data.size() != sizeof(DWORD)) continue;
    DWORD number = 0;
    std::memcpy(&number, answer.data.data(), sizeof(number));
    return number;
  }
  return 0;
}

bool Judge::IsRemote() {
  if (Next("GetSystemMetrics").result != 0) return true;
  if (Next("RegOpenKeyExW", "SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\").result != 0)
    return false;
  const Answer glass = Next("RegQueryValueExW", "GlassSessionId");
  if (glass.result != 0) return false;
  const Answer& own = Next("ProcessIdToSessionId");
  return own.result != 0 && own.data != glass.data;
}

std::vector<GUID> Judge::AllowedList() {
  if (!IsConfigured()) {
    // The record counts as complete only when a load has come to its end.
    whitelist_.clear();
    try {
      LoadKey(kLocalKey);
      LoadKey(kPolicyKey);
    } catch (const Exhausted&) {
      secret_.clear();
      throw;
    }
    if (!IsConfigured()) throw NotConfigured{};
  }
  std::vector<GUID> allowed = whitelist_;
  allowed.push_back(kKuvProvider);
  if (!smartCards_) return allowed;
  if (wrap_) {
    allowed.push_back(kKuvSmartCardProvider);
  } else {
    allowed.push_back(Next("VerifyVersionInfoW").result != 0 ? kSmartCardProvider : kOldSmartCardProvider);
  }
  return allowed;
}

int Judge::Decide(std::uint32_t scenario, DWORD flags) {
  const DWORD stored = AskNumber("ElevationProtectionMode");
  const DWORD mode = stored > 2 ? 0 : stored;
  if (scenario >= 1 && scenario <= 3) {
    if (mode == 1) {
      // Asked for the log alone, and so only if there is one.
      if (next_ != answers_.size()) IsRemote();
      return kUntouched;
    }
    const bool remote = IsRemote();
    const bool rdpOnly = AskNumber("RdpOnly") == 1;
    return remote || !rdpOnly ? kOnlyAllowed : kWithoutKuv;
  }
  return scenario == 4 && mode != 0 && (flags & 0x100) != 0 ? kOnlyAllowed : kWithoutKuv;
}

Verdict Judge::Filter(std::vector<Answer> answers, bool memoryFailed, std::uint32_t scenario, DWORD flags,
                      const std::vector<GUID>& providers, const std::vector<BOOL>& allow) {
  Begin(std::move(answers));
  Verdict verdict;
  verdict.allow = allow;
  if (std::none_of(providers.begin(), providers.end(), IsOurs)) {
    ExpectNothingLeft();
    return verdict;
  }
  try {
    const std::vector<GUID> allowed = AllowedList();
    if (memoryFailed) throw NotConfigured{};
    const int decision = Decide(scenario, flags);
    ExpectNothingLeft();
    if (decision == kWithoutKuv) verdict.allow = WithoutKuv(providers);
    if (decision == kOnlyAllowed) {
      verdict.allow.clear();
      for (const GUID& provider : providers) verdict.allow.push_back(Holds(allowed, provider) ? TRUE : FALSE);
    }
  } catch (const NotConfigured&) {
    ExpectNothingLeft();
    verdict.allow = WithoutKuv(providers);
  } catch (const Exhausted&) {
    if (!memoryFailed) throw WrongQuestion{"asked too little"};
    verdict.allow = WithoutKuv(providers);
  }
  return verdict;
}

Verdict Judge::UpdateRemoteCredential(std::vector<Answer> answers, bool memoryFailed, const GUID& provider) {
  Begin(std::move(answers));
  Verdict verdict;
  verdict.result = E_NOTIMPL;
  try {
    const std::vector<GUID> allowed = AllowedList();
    if (memoryFailed || Holds(allowed, provider)) {
      ExpectNothingLeft();
      return verdict;
    }
    const bool smartCard = provider == kSmartCardProvider || provider == kOldSmartCardProvider;
    verdict.provider = smartCard ? kKuvSmartCardProvider : kKuvProvider;
    verdict.result = Next("CoTaskMemAlloc").result != 0 ? S_OK : E_OUTOFMEMORY;
    ExpectNothingLeft();
  } catch (const NotConfigured&) {
    ExpectNothingLeft();
  } catch (const Exhausted&) {
    if (!memoryFailed) throw WrongQuestion{"asked too little"};
  }
  return verdict;
}

Verdict Judge::Register(std::vector<Answer> answers) {
  Begin(std::move(answers));
  Verdict verdict;
  verdict.result = FromStatus(Next("RegCreateKeyExW", kClassKey).result);
  if (verdict.result == S_OK) {
    Next("RegSetValueExW");
    if (Next("RegCreateKeyExW", "InprocServer32").result == 0 && Next("RegSetValueExW").result == 0) {
      Next("RegSetValueExW", "ThreadingModel");
      verdict.result = FromStatus(Next("RegCreateKeyExW", kFilterKey).result);
      if (verdict.result == S_OK) Next("RegSetValueExW");
    }
  }
  ExpectNothingLeft();
  return verdict;
}

Verdict Judge::Unregister(std::vector<Answer> answers) {
  Begin(std::move(answers));
  Verdict verdict;
  const std::intptr_t status = Next("RegDeleteKeyW", kFilterKey).result;
  Next("RegDeleteKeyW", kServerKey);
  Next("RegDeleteKeyW", kClassKey);
  ExpectNothingLeft();
  verdict.result = status == ERROR_FILE_NOT_FOUND ? S_OK : FromStatus(status);
  return verdict;
}

}  // namespace KuvTest
