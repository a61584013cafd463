#include "Anomaly/AnswerModel.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Support/Providers.h"

namespace KuvTest {

namespace {

HRESULT FromStatus(std::intptr_t status) {
  return status <= 0 ? static_cast<HRESULT>(status) : static_cast<HRESULT>(0x80070000 | (status & 0xFFFF));
}

}  // namespace

void AnswerModel::Begin(std::vector<Answer> answers) {
  answers_ = std::move(answers);
  next_ = 0;
}

// A remaining answer means an unexpected call.
void AnswerModel::ExpectEnd() const {
  if (next_ == answers_.size()) return;
  const Answer& left = answers_[next_];
  throw WrongCall{"unexpected call: " + left.function + " " + left.subject};
}

const Answer& AnswerModel::Next(const std::string& function, const std::string& subject) {
  if (next_ == answers_.size()) throw Exhausted{};
  const Answer& answer = answers_[next_++];
  if (answer.function != function || answer.subject != subject) {
    throw WrongCall{answer.function + " " + answer.subject + " called instead of " + function + " " +
                    subject};
  }
  return answer;
}

bool AnswerModel::OpensKey(const char* key) {
  return Next("RegOpenKeyExA", key).result == 0;
}

bool AnswerModel::LoadText(const char* name, std::string& text) {
  const Answer& answer = Next("RegQueryValueExA", name);
  if (answer.result != 0 || answer.type != REG_SZ || answer.data.empty()) return false;
  text.clear();
  for (const std::uint8_t byte : answer.data) {
    if (byte == 0) break;
    if (std::strchr(" \t\r\n\v\f", byte) == nullptr) text += static_cast<char>(byte);
  }
  return true;
}

void AnswerModel::LoadWhitelist() {
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

void AnswerModel::LoadKey(const char* key) {
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

bool AnswerModel::IsConfigured() const {
  return !host_.empty() && port_ != 0 && !clientId_.empty() && !secret_.empty();
}

// The currently stored number of a setting, 0 if absent.
DWORD AnswerModel::LiveNumber(const char* name) {
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

bool AnswerModel::IsRemote() {
  if (Next("GetSystemMetrics").result != 0) return true;
  if (Next("RegOpenKeyExW", kTerminalServerKey).result != 0) return false;
  const Answer console = Next("RegQueryValueExW", "GlassSessionId");
  if (console.result != 0) return false;
  const Answer& own = Next("ProcessIdToSessionId");
  return own.result != 0 && own.data != console.data;
}

std::vector<GUID> AnswerModel::AllowedList() {
  if (!IsConfigured()) {
    // The record counts as complete only when a load has finished.
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
  const bool newSystem = !smartCards_ || wrap_ || Next("VerifyVersionInfoW").result != 0;
  return ExpectedAllowed(whitelist_, smartCards_, wrap_, newSystem);
}

Outcome AnswerModel::Decide(std::uint32_t scenario, DWORD flags) {
  DecisionFacts facts{.scenario = scenario, .flags = flags};
  facts.mode = LiveNumber("ElevationProtectionMode");
  if (scenario >= 1 && scenario <= 3) {
    // If logon is not protected, the session is used by the log only, so it is queried only if there is a
    // log.
    const bool isProtected = facts.mode != 1;
    if (isProtected || next_ != answers_.size()) facts.remote = IsRemote();
    if (isProtected) facts.rdpOnly = LiveNumber("RdpOnly") == 1;
  }
  return RuleFor(facts).outcome;
}

Expected AnswerModel::Filter(std::vector<Answer> answers, bool memoryFailed, std::uint32_t scenario,
                             DWORD flags, const std::vector<GUID>& providers,
                             const std::vector<BOOL>& allow) {
  Begin(std::move(answers));
  std::vector<GUID> allowed;
  Outcome outcome = Outcome::WithoutKuv;
  try {
    if (std::none_of(providers.begin(), providers.end(), IsKuv)) {
      outcome = RuleFor({.kuvInstalled = false}).outcome;
    } else {
      allowed = AllowedList();
      if (memoryFailed) throw NotConfigured{};
      outcome = Decide(scenario, flags);
    }
    ExpectEnd();
  } catch (const NotConfigured&) {
    ExpectEnd();
  } catch (const Exhausted&) {
    if (!memoryFailed) throw WrongCall{"missing call"};
  }
  return {.allow = ExpectedFlags(outcome, providers, allowed, allow)};
}

Expected AnswerModel::UpdateRemoteCredential(std::vector<Answer> answers, bool memoryFailed,
                                             const GUID& provider) {
  Begin(std::move(answers));
  Expected expected;
  expected.result = E_NOTIMPL;
  try {
    const std::vector<GUID> allowed = AllowedList();
    if (memoryFailed || Holds(allowed, provider)) {
      ExpectEnd();
      return expected;
    }
    const bool smartCard = provider == kSmartCardProvider || provider == kV1SmartCardProvider;
    expected.provider = smartCard ? kKuvSmartCardProvider : kKuvProvider;
    expected.result = Next("CoTaskMemAlloc").result != 0 ? S_OK : E_OUTOFMEMORY;
    ExpectEnd();
  } catch (const NotConfigured&) {
    ExpectEnd();
  } catch (const Exhausted&) {
    if (!memoryFailed) throw WrongCall{"missing call"};
  }
  return expected;
}

Expected AnswerModel::Register(std::vector<Answer> answers) {
  Begin(std::move(answers));
  Expected expected;
  expected.result = FromStatus(Next("RegCreateKeyExW", kClassKey).result);
  if (expected.result == S_OK) {
    Next("RegSetValueExW");
    if (Next("RegCreateKeyExW", "InprocServer32").result == 0 && Next("RegSetValueExW").result == 0) {
      Next("RegSetValueExW", "ThreadingModel");
      expected.result = FromStatus(Next("RegCreateKeyExW", kFilterKey).result);
      if (expected.result == S_OK) Next("RegSetValueExW");
    }
  }
  ExpectEnd();
  return expected;
}

Expected AnswerModel::Unregister(std::vector<Answer> answers) {
  Begin(std::move(answers));
  Expected expected;
  const std::intptr_t status = Next("RegDeleteKeyW", kFilterKey).result;
  Next("RegDeleteKeyW", kServerKey);
  Next("RegDeleteKeyW", kClassKey);
  ExpectEnd();
  expected.result = status == ERROR_FILE_NOT_FOUND ? S_OK : FromStatus(status);
  return expected;
}

}  // namespace KuvTest
