#include "Anomaly/SettingsStorm/StoredSettings.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <initializer_list>
#include <stdexcept>

#include "KuvAuth/Support/UniqueResource.h"
#include "Support/Providers.h"

namespace KuvTest {

namespace {

void Require(LSTATUS status, const char* operation) {
  if (status != ERROR_SUCCESS) {
    throw std::runtime_error{std::string{operation} + " failed with " + std::to_string(status)};
  }
}

void StoreKey(const std::string& name, const StoredKey& key) {
  const std::wstring path = Wide(name);
  const LSTATUS deleted = ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
  if (deleted != ERROR_FILE_NOT_FOUND) Require(deleted, "RegDeleteKeyW");
  if (!key.exists) return;
  Kuv::UniqueRegistryKey opened;
  Require(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                            opened.Put(), nullptr),
          "RegCreateKeyExW");
  for (const StoredValue& value : key.values) {
    // If a NUL followed a text without one, the platform would store it too.
    Bytes data = value.data;
    data.insert(data.end(), {0xFF, 0xFF, 0xFF, 0xFF});
    Require(::RegSetValueExW(opened.Get(), Wide(value.name).c_str(), 0, value.type, data.data(),
                             static_cast<DWORD>(value.data.size())),
            "RegSetValueExW");
  }
}

Bytes BytesOf(const std::wstring& text) {
  Bytes bytes(text.size() * sizeof(wchar_t));
  std::copy_n(reinterpret_cast<const std::uint8_t*>(text.data()), bytes.size(), bytes.data());
  return bytes;
}

Bytes BytesOf(std::uint32_t number) {
  Bytes bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
  return bytes;
}

class SettingsGenerator {
 public:
  explicit SettingsGenerator(std::uint64_t seed) : random_(seed) {}

  StoredSettings Make() {
    StoredSettings settings;
    settings.local = MakeKey(/*oftenComplete=*/true);
    settings.policy = MakeKey(/*oftenComplete=*/false);
    return settings;
  }

 private:
  std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(random_() % bound); }
  bool OneIn(std::uint32_t count) { return Below(count) == 0; }

  template <typename Choice>
  Choice OneOf(std::initializer_list<Choice> choices) {
    return choices.begin()[Below(static_cast<std::uint32_t>(choices.size()))];
  }

  StoredKey MakeKey(bool oftenComplete) {
    StoredKey key;
    key.exists = !OneIn(oftenComplete ? 20 : 3);
    for (const char* const name : {"Host", "IKey", "SKey"}) {
      if (oftenComplete ? !OneIn(12) : OneIn(6)) key.values.push_back(Corrupt({name, REG_SZ, Text(name)}));
    }
    if (OneIn(4)) key.values.push_back(Corrupt({"HttpProxyHost", REG_SZ, Text("HttpProxyHost")}));
    if (OneIn(2)) key.values.push_back(Corrupt({"ProvidersWhitelist", REG_MULTI_SZ, Whitelist()}));
    for (const char* const name :
         {"Debug", "FailOpen", "EnableSmartCards", "WrapSmartCards", "AutoPush", "local_ip_fallback",
          "UsernameFormatForService", "HttpProxyPort", "OfflineAvailable", "OfflineMaxUsers",
          "ElevationProtectionMode", "ElevationOfflineEnable", "ElevationOfflineEnrollment",
          "InactivityTimeoutSeconds", "RdpOnly"}) {
      if (OneIn(3)) key.values.push_back(Corrupt({name, REG_DWORD, BytesOf(Number())}));
    }
    if (!key.exists) key.values.clear();
    return key;
  }

  std::uint32_t Number() {
    return OneIn(6) ? static_cast<std::uint32_t>(random_())
                    : OneOf<std::uint32_t>(
                          {0, 0, 1, 1, 1, 2, 2, 3, 5, 49, 50, 51, 0x100, 0x10000, 0x80000000, 0xFFFFFFFF});
  }

  Bytes Text(const std::string& name) {
    std::wstring text;
    const auto letters = [&](std::uint32_t count, const std::wstring& alphabet) {
      while (count-- > 0) text += alphabet[Below(static_cast<std::uint32_t>(alphabet.size()))];
    };
    if (OneIn(12)) {
      // Around the size of the buffer, which counts the terminator.
      letters(1020 + Below(8), L"aB");
    } else {
      letters(Below(24), L"abcXYZ019.-_ \t");
    }
    if (OneIn(12)) letters(3, L"\xE9\xDF\x20AC\xFF\x7F\x80 \v\f\r\n");
    if (OneIn(12)) text.insert(Below(static_cast<std::uint32_t>(text.size()) + 1), 1, L'\0');
    if (name == "Host" && OneIn(3)) {
      text += L':';
      text += OneOf<const wchar_t*>(
          {L"8443", L"", L"abc", L"65536", L"70000", L"-1", L" 99", L"+7", L"0", L"443:80", L"12x"});
    }
    text += L'\0';
    return BytesOf(text);
  }

  Bytes Whitelist() {
    std::wstring text;
    // Nine identifiers fit the buffer, ten do not.
    for (std::uint32_t count = OneIn(6) ? 8 + Below(4) : Below(4); count > 0; --count) {
      std::wstring entry =
          Wide(OneOf<const char*>({kVendor, kOther, kPassword, "{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}", kKuv,
                                   kKuvSmartCard, kSmartCard, kV1SmartCard}));
      if (OneIn(6))
        entry[Below(static_cast<std::uint32_t>(entry.size()))] =
            OneOf<wchar_t>({L'x', L'-', L'0', L' ', L'\xE9'});
      if (OneIn(12)) entry.resize(Below(static_cast<std::uint32_t>(entry.size())));
      text += entry;
      text += L'\0';
    }
    text += L'\0';
    return BytesOf(text);
  }

  StoredValue Corrupt(StoredValue value) {
    if (OneIn(12)) {
      value.type = OneOf<DWORD>({REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_DWORD_BIG_ENDIAN,
                                 REG_MULTI_SZ, REG_QWORD, 0x12345678});
    }
    if (OneIn(12)) value.data.resize(Below(static_cast<std::uint32_t>(value.data.size()) + 1));
    if (OneIn(24))
      value.data.resize(OneOf<std::size_t>({0, 1, 2, 3, 4, 5, 8, 758, 759, 760, 761, 762, 2046, 2048, 2050}),
                        'A');
    if (OneIn(24)) {
      for (std::uint8_t& byte : value.data) byte = static_cast<std::uint8_t>(random_() % 0x80);
    }
    return value;
  }

  std::mt19937_64 random_;
};

void AddSmallerKeys(const StoredSettings& settings, StoredKey StoredSettings::*which,
                    std::vector<StoredSettings>& smaller) {
  const StoredKey& key = settings.*which;
  if (!key.exists) return;
  smaller.push_back(settings);
  smaller.back().*which = {};
  for (std::size_t i = 0; i < key.values.size(); ++i) {
    smaller.push_back(settings);
    std::vector<StoredValue>& fewer = (smaller.back().*which).values;
    fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
    const std::size_t size = key.values[i].data.size();
    for (const std::size_t cut : {size / 2, size - 2, size - 1}) {
      if (cut >= size) continue;
      smaller.push_back(settings);
      (smaller.back().*which).values[i].data.resize(cut);
    }
  }
}

std::string Describe(const char* name, const StoredKey& key) {
  if (!key.exists) return std::string{name} + ": no key\n";
  std::string text = std::string{name} + ": " + std::to_string(key.values.size()) + " values\n";
  for (const StoredValue& value : key.values) {
    text += "  " + value.name + ", type " + std::to_string(value.type) + ", " +
            std::to_string(value.data.size()) + " bytes:";
    for (const std::uint8_t byte : value.data) {
      std::array<char, 4> hex{};
      std::snprintf(hex.data(), hex.size(), " %02x", byte);
      text += hex.data();
    }
    text += '\n';
  }
  return text;
}

}  // namespace

const StoredValue* StoredKey::Find(const std::string& name) const {
  const auto found = std::find_if(values.begin(), values.end(),
                                  [&](const StoredValue& value) { return value.name == name; });
  return found == values.end() ? nullptr : &*found;
}

void StoredSettings::Store() const {
  StoreKey(kLocalKey, local);
  StoreKey(kPolicyKey, policy);
}

StoredSettings MakeSettings(std::uint64_t seed) {
  return SettingsGenerator{seed}.Make();
}

std::vector<StoredSettings> SmallerSettings(const StoredSettings& settings) {
  std::vector<StoredSettings> smaller;
  AddSmallerKeys(settings, &StoredSettings::local, smaller);
  AddSmallerKeys(settings, &StoredSettings::policy, smaller);
  return smaller;
}

std::string Describe(const StoredSettings& settings) {
  return Describe("local", settings.local) + Describe("policy", settings.policy);
}

}  // namespace KuvTest
