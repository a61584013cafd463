#include "KuvAuth/Configuration/SettingReader.h"

#include <windows.h>
#include <objbase.h>

#include <cstring>
#include <cwchar>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Support/WipeText.h"

namespace Kuv {

namespace {

constexpr std::size_t kTextBytes = 1024;
constexpr std::size_t kWhitelistBytes = 760;
constexpr std::size_t kWhitelistUnits = kWhitelistBytes / sizeof(wchar_t);

void AddProvider(std::vector<GUID>& whitelist, const wchar_t* text) {
  CLSID provider{};
  if (::CLSIDFromString(text, &provider) != S_OK) {
    KUV_LOG(LogLevel::Info, L"Ignored invalid whitelist: %s", text);
    return;
  }
  KUV_LOG(LogLevel::Info, L"Adding provider %s to the WhiteList", text);
  whitelist.push_back(provider);
}

}  // namespace

bool SettingReader::ReadText(const char* name, std::string& text) const {
  // The text can be the key that signs requests.
  WipedBuffer<kTextBytes> buffer;
  DWORD type = REG_SZ;
  DWORD size = kTextBytes;
  const LSTATUS status =
      registry_.QueryValueA(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.bytes), &size);
  if (status != ERROR_SUCCESS || type != REG_SZ || size == 0) return false;
  text.assign(buffer.bytes, strnlen(buffer.bytes, kTextBytes));
  return true;
}

bool SettingReader::ReadNumber(const char* name, std::uint32_t& number) const {
  std::uint32_t value = number;
  DWORD type = REG_DWORD;
  DWORD size = sizeof(value);
  const LSTATUS status =
      registry_.QueryValueA(key_, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  if (status != ERROR_SUCCESS || type != REG_DWORD) return false;
  number = value;
  return true;
}

bool SettingReader::ReadWhitelist(std::vector<GUID>& whitelist) const {
  // One unit more than the query can fill, for a list without a terminator.
  wchar_t buffer[kWhitelistUnits + 1] = {};
  DWORD type = REG_MULTI_SZ;
  DWORD size = kWhitelistBytes;
  const LSTATUS status = registry_.QueryValueW(key_, L"ProvidersWhitelist", nullptr, &type,
                                               reinterpret_cast<BYTE*>(buffer), &size);
  if (status != ERROR_SUCCESS || type != REG_MULTI_SZ) return false;
  KUV_LOG(LogLevel::Info, "Found whitelist registry key, replacing default whitelisted providers.");
  whitelist.clear();
  const wchar_t* const end = buffer + kWhitelistUnits;
  for (const wchar_t* text = buffer; text < end && *text != L'\0'; text += std::wcslen(text) + 1) {
    AddProvider(whitelist, text);
  }
  return true;
}

}  // namespace Kuv
