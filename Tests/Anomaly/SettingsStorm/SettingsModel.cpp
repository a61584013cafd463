#include "Anomaly/SettingsStorm/SettingsModel.h"

#include <algorithm>
#include <cctype>

#include "Support/DecisionModel.h"
#include "Support/Providers.h"

namespace KuvTest {

namespace {

std::vector<wchar_t> Units(const Bytes& data) {
  std::vector<wchar_t> units;
  for (std::size_t i = 0; i + 1 < data.size(); i += 2)
    units.push_back(static_cast<wchar_t>(data[i] | data[i + 1] << 8));
  return units;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// A text is accepted if it has at least one unit and at most 1,024 bytes. It ends at its first NUL; white
// space is removed.
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

// A number is accepted if it has at most four bytes; missing bytes are those of `preset`.
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

// A setting that is read at each decision must have four bytes; the policy key is read first.
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

SettingsModel::SettingsModel(const StoredSettings& settings) {
  ReadKey(settings.local);
  ReadKey(settings.policy);
  mode_ = GetLive(settings, "ElevationProtectionMode");
  rdpOnly_ = GetLive(settings, "RdpOnly") == 1;
}

void SettingsModel::ReadKey(const StoredKey& key) {
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
    texts_["Host"] = host;
    numbers_["Port"] = static_cast<std::uint32_t>(port & 0xFFFF);
  }
  for (const char* const name : {"IKey", "SKey", "HttpProxyHost"}) GetText(key, name, texts_[name]);
  for (auto& [name, flag] : flags_) GetFlag(key, name.c_str(), flag);
  if (GetNumber(key, "UsernameFormatForService", number, 1))
    numbers_["UsernameFormat"] = number > 2 ? 1 : number;
  GetNumber(key, "HttpProxyPort", numbers_["HttpProxyPort"]);
  numbers_["OfflineMaxUsers"] = 5;
  if (GetNumber(key, "OfflineMaxUsers", number)) numbers_["OfflineMaxUsers"] = number > 50 ? 50 : number;
  if (GetNumber(key, "ElevationProtectionMode", number))
    numbers_["ElevationProtectionMode"] = number > 2 ? 0 : number;
  GetNumber(key, "InactivityTimeoutSeconds", numbers_["InactivityTimeoutSeconds"]);
  GetWhitelist(key, whitelist_);
}

SettingsRecord SettingsModel::Record() const {
  SettingsRecord record = texts_;
  for (const auto& [name, flag] : flags_) record[name] = std::to_string(flag);
  for (const auto& [name, number] : numbers_) record[name] = std::to_string(number);
  for (const std::string& provider : whitelist_) record["ProvidersWhitelist"] += provider + " ";
  return record;
}

bool SettingsModel::Complete() const {
  return !texts_.at("Host").empty() && numbers_.at("Port") != 0 && !texts_.at("IKey").empty() &&
         !texts_.at("SKey").empty();
}

std::vector<int> SettingsModel::Decide(const Question& question, const std::vector<GUID>& providers,
                                       const std::vector<int>& before) const {
  const Outcome outcome = RuleFor({.kuvInstalled = std::any_of(providers.begin(), providers.end(), IsKuv),
                                   .loadable = Complete(),
                                   .scenario = question.scenario,
                                   .flags = question.flags,
                                   .mode = mode_,
                                   .rdpOnly = rdpOnly_,
                                   .remote = question.remote})
                              .outcome;
  return ExpectedFlags(
      outcome, providers,
      ExpectedAllowed(Guids(whitelist_), flags_.at("EnableSmartCards"), flags_.at("WrapSmartCards")), before);
}

}  // namespace KuvTest
