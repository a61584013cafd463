#include "Common/ProviderList.h"

#include <optional>
#include <sstream>
#include <string_view>

#include "Common/HostError.h"
#include "Common/HostFile.h"
#include "Common/Identifier.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterHost {

namespace {

constexpr wchar_t kProvidersKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers";
constexpr char kBlanks[] = " \t\r";

std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<Provider> ParseProviderLine(const std::string& line) {
  const std::size_t end = line.find_first_of(kBlanks);
  const std::optional<GUID> identifier = ParseIdentifier(line.substr(0, end));
  if (!identifier) return std::nullopt;
  return Provider{*identifier, end == std::string::npos ? std::string{} : Trimmed(line.substr(end))};
}

// Returns an empty text if the provider has no name or the name is not a text.
std::string ReadName(HKEY providers, const std::wstring& subkey) {
  wchar_t name[1024] = {};
  DWORD size = sizeof(name);
  const LSTATUS status = ::RegGetValueW(providers, subkey.c_str(), /*lpValue=*/nullptr, RRF_RT_REG_SZ,
                                        /*pdwType=*/nullptr, name, &size);
  return status == ERROR_SUCCESS ? WideToUtf8(name) : std::string{};
}

// Returns the name of a subkey, or an empty text after the last.
std::wstring SubkeyName(HKEY key, DWORD index) {
  wchar_t name[256] = {};
  DWORD length = 256;
  const LSTATUS status =
      ::RegEnumKeyExW(key, index, name, &length, /*lpReserved=*/nullptr, /*lpClass=*/nullptr,
                      /*lpcchClass=*/nullptr, /*lpftLastWriteTime=*/nullptr);
  return status == ERROR_SUCCESS ? std::wstring{name} : std::wstring{};
}

}  // namespace

ProviderList ReadInstalledProviders() {
  const std::string keyName = "HKLM\\" + WideToUtf8(kProvidersKey);
  Kuv::UniqueRegistryKey key;
  const LSTATUS status =
      ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProvidersKey, /*ulOptions=*/0, KEY_READ, key.Put());
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
    throw HostError{ExitCode::Failed,
                    "cannot open " + keyName + ": " + DescribeError(static_cast<std::uint32_t>(status))};
  }
  ProviderList providers;
  for (DWORD index = 0; key; ++index) {
    const std::wstring subkey = SubkeyName(key.Get(), index);
    if (subkey.empty()) break;
    const std::optional<GUID> identifier = ParseIdentifier(WideToUtf8(subkey));
    if (identifier) providers.push_back({*identifier, ReadName(key.Get(), subkey)});
  }
  if (providers.empty())
    throw HostError{ExitCode::NoProviders, "no credential providers are registered in " + keyName};
  return providers;
}

ProviderList ReadProviderFile(const std::wstring& path) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  const std::string fileName = WideToUtf8(path);
  std::string text = ReadFileFrom(path, /*start=*/0);
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());

  ProviderList providers;
  std::istringstream lines{text};
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    const std::string content = Trimmed(line);
    if (content.empty() || content.starts_with('#')) continue;
    std::optional<Provider> provider = ParseProviderLine(content);
    if (!provider) {
      throw HostError{ExitCode::MalformedIdentifier, fileName + ":" + std::to_string(number) + ": '" +
                                                         Printable(content) +
                                                         "' does not start with a braced identifier"};
    }
    providers.push_back(*std::move(provider));
  }
  if (providers.empty()) throw HostError{ExitCode::NoProviders, "'" + fileName + "' contains no providers"};
  return providers;
}

}  // namespace FilterHost
