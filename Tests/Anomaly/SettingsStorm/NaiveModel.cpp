#include "Anomaly/SettingsStorm/NaiveModel.h"

#include <algorithm>
#include <cctype>

namespace KuvTest {

namespace {

constexpr char kKuv[] = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
constexpr char kKuvSmartCard[] = "{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}";
constexpr char kSmartCard[] = "{8FD7E19C-3BF7-489B-A72C-846AB3678C96}";

std::vector<wchar_t> Units(const Bytes& data) {
  std::vector<wchar_t> units;
  for (std::size_t i = 0; i + 1 < data.size(); i += 2)
    units.push_back(static_cast<wchar_t>(data[i] | data[i + 1] << 8));
  return units;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// A text counts if it has any unit at all and fits 1,024 bytes; it ends at its first NUL. Blanks go.
bool GetText(const StoredKey& key, const char* name, std::string& text) {
  const StoredValue* const value = key.Find(name);
  if (value == nullptr || value->type != REG_SZ) return false;
  const std::vector<wchar_t> units = Units(value->data);
  if (units.empty()) return false;
  std::string converted(units.size() * 4, '\0');
  const int size =
      ::WideCharToMultiByte(CP_ACP, 0, units.data(), static_cast<int>(units.size()), converted.data(),
                            static_cast<int>(converted.size()), nullptr, nullptr);
  if (size <= 0 || size > 1024) return false;
  converted.resize(static_cast<std::size_t>(size));
  text.clear();
  for (const char c : converted) {
    if (c == '\0') break;
    if (!IsBlank(c)) text += c;
  }
  return true;
}

// A number counts if it is no longer than four bytes; missing ones are those of `preset`.
bool GetNumber(const StoredKey& key, const char* name, std::uint32_t& number, std::uint32_t preset = 0) {
  const StoredValue* const value = key.Find(name);
  if (value == nullptr || value->type != REG_DWORD || value->data.size() > 4) return false;
  number = preset;
  for (std::size_t i = 0; i < value->data.size(); ++i) {
    number = (number & ~(0xFFu << (8 * i))) | static_cast<std::uint32_t>(value->data[i]) << (8 * i);
  }
  return true;
}

void GetFlag(const StoredKey& key, const char* name, bool& flag) {
  std::uint32_t number = 0;
  if (GetNumber(key, name, number)) flag = number != 0;
}

// What is asked anew at each decision has four bytes, and the policy comes first.
std::uint32_t GetLive(const StoredSettings& settings, const char* name) {
  for (const StoredKey* const key : {&settings.policy, &settings.local}) {
    const StoredValue* const value = key->Find(name);
    std::uint32_t number = 0;
    if (value != nullptr && value->data.size() == 4 && GetNumber(*key, name, number)) return number;
  }
  return 0;
}

bool IsIdentifier(const std::string& text) {
  const std::string form = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  if (text.size() != form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool fits =
        form[i] == 'x' ? std::isxdigit(static_cast<unsigned char>(text[i])) != 0 : text[i] == form[i];
    if (!fits) return false;
  }
  return true;
}

void GetWhitelist(const StoredKey& key, std::vector<std::string>& whitelist) {
  const StoredValue* const value = key.Find("ProvidersWhitelist");
  if (value == nullptr || value->type != REG_MULTI_SZ || value->data.size() > 760) return;
  whitelist.clear();
  Bytes data = value->data;
  data.resize(764);
  std::string entry;
  for (const wchar_t unit : Units(data)) {
    if (unit != L'\0') {
      entry += unit < 0x80 ? static_cast<char>(std::toupper(unit)) : '?';
      continue;
    }
    if (entry.empty()) return;
    if (IsIdentifier(entry)) whitelist.push_back(entry);
    entry.clear();
  }
}

}  // namespace

NaiveModel::NaiveModel(const StoredSettings& settings) {
  ReadKey(settings.local);
  ReadKey(settings.policy);
  mode_ = GetLive(settings, "ElevationProtectionMode");
  if (mode_ > 2) mode_ = 0;
  rdpOnly_ = GetLive(settings, "RdpOnly") == 1;
}

void NaiveModel::ReadKey(const StoredKey& key) {
  if (!key.exists) return;

  const StoredValue* const debug = key.Find("Debug");
  std::uint32_t number = 0;
  if (debug != nullptr && debug->data.size() == 4 && GetNumber(key, "Debug", number) && number != 0) {
    logLevel_ = number == 1 ? 2 : 1;
  }

  std::string host;
  if (GetText(key, "Host", host)) {
    for (char& c : host) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    long long port = 443;
    const std::size_t colon = host.find(':');
    if (colon != std::string::npos) {
      port = 0;
      std::size_t at = colon + 1;
      const bool negative = at < host.size() && host[at] == '-';
      if (at < host.size() && (host[at] == '-' || host[at] == '+')) ++at;
      for (; at < host.size() && host[at] >= '0' && host[at] <= '9'; ++at)
        port = 10 * port + (host[at] - '0');
      if (negative) port = -port;
      host.resize(colon);
    }
    record_.Host = host;
    record_.Port = static_cast<std::uint32_t>(port & 0xFFFF);
  }
  GetText(key, "IKey", record_.IKey);
  GetText(key, "SKey", record_.SKey);
  GetText(key, "HttpProxyHost", record_.HttpProxyHost);
  GetFlag(key, "FailOpen", record_.FailOpen);
  GetFlag(key, "EnableSmartCards", record_.EnableSmartCards);
  GetFlag(key, "WrapSmartCards", record_.WrapSmartCards);
  GetFlag(key, "AutoPush", record_.AutoPush);
  GetFlag(key, "local_ip_fallback", record_.local_ip_fallback);
  GetFlag(key, "OfflineAvailable", record_.OfflineAvailable);
  GetFlag(key, "ElevationOfflineEnable", record_.ElevationOfflineEnable);
  GetFlag(key, "ElevationOfflineEnrollment", record_.ElevationOfflineEnrollment);
  if (GetNumber(key, "UsernameFormatForService", number, 1)) record_.UsernameFormat = number > 2 ? 1 : number;
  GetNumber(key, "HttpProxyPort", record_.HttpProxyPort);
  record_.OfflineMaxUsers = 5;
  if (GetNumber(key, "OfflineMaxUsers", number)) record_.OfflineMaxUsers = number > 50 ? 50 : number;
  if (GetNumber(key, "ElevationProtectionMode", number))
    record_.ElevationProtectionMode = number > 2 ? 0 : number;
  GetNumber(key, "InactivityTimeoutSeconds", record_.InactivityTimeoutSeconds);
  GetWhitelist(key, record_.ProvidersWhitelist);
}

bool NaiveModel::Complete() const {
  return !record_.Host.empty() && record_.Port != 0 && !record_.IKey.empty() && !record_.SKey.empty();
}

bool NaiveModel::Allowed(const std::string& provider) const {
  if (provider == kKuv) return true;
  if (record_.EnableSmartCards && provider == (record_.WrapSmartCards ? kKuvSmartCard : kSmartCard))
    return true;
  const auto& whitelist = record_.ProvidersWhitelist;
  return std::find(whitelist.begin(), whitelist.end(), provider) != whitelist.end();
}

std::vector<int> NaiveModel::Decide(const ModelQuestion& question, const std::vector<std::string>& providers,
                                    std::vector<int> allow) const {
  const bool logon = question.scenario >= 1 && question.scenario <= 3;
  if (Complete() && logon && mode_ == 1) return allow;
  bool enforced = false;
  if (Complete() && logon) enforced = question.remote || !rdpOnly_;
  if (Complete() && question.scenario == 4) enforced = mode_ != 0 && (question.flags & 0x100) != 0;
  for (std::size_t i = 0; i < providers.size(); ++i) {
    const bool kuv = providers[i] == kKuv || providers[i] == kKuvSmartCard;
    allow[i] = (enforced ? Allowed(providers[i]) : !kuv) ? 1 : 0;
  }
  return allow;
}

}  // namespace KuvTest
