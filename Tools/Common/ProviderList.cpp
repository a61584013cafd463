#include "Common/ProviderList.h"

#include <optional>
#include <sstream>
#include <string_view>

#include "Common/ErrorText.h"
#include "Common/FileBytes.h"
#include "Common/Identifier.h"
#include "Common/ParseText.h"
#include "Common/PlainText.h"
#include "Common/SubkeyName.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace Tools {

namespace {

constexpr char kBlanks[] = " \t\r";

std::optional<Provider> ParseProviderLine(const std::string& line) {
  const std::size_t end = line.find_first_of(kBlanks);
  const std::optional<GUID> identifier = ParseIdentifier(line.substr(0, end));
  if (!identifier) return std::nullopt;
  return Provider{*identifier, end == std::string::npos ? std::string{} : Trimmed(line.substr(end), kBlanks)};
}

// Returns an empty text if the provider has no name or the name is not a text.
std::string ReadName(HKEY providers, const std::wstring& subkey) {
  wchar_t name[1024] = {};
  DWORD size = sizeof(name);
  const LSTATUS status = ::RegGetValueW(providers, subkey.c_str(), /*lpValue=*/nullptr, RRF_RT_REG_SZ,
                                        /*pdwType=*/nullptr, name, &size);
  return status == ERROR_SUCCESS ? WideToUtf8(name) : std::string{};
}

}  // namespace

std::string NameOrIdentifier(const Provider& provider) {
  return provider.name.empty() ? IdentifierText(provider.identifier) : provider.name;
}

ProviderList ReadInstalledProviders() {
  const std::string keyName = "HKLM\\" + WideToUtf8(kProvidersKey);
  Kuv::UniqueRegistryKey key;
  const LSTATUS status =
      ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProvidersKey, /*ulOptions=*/0, KEY_READ, key.Put());
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
    throw ToolError{"cannot open " + keyName + ": " + DescribeError(static_cast<std::uint32_t>(status))};
  }
  ProviderList providers;
  for (DWORD index = 0; key; ++index) {
    const std::wstring subkey = SubkeyName(key.Get(), index);
    if (subkey.empty()) break;
    const std::optional<GUID> identifier = ParseIdentifier(WideToUtf8(subkey));
    if (identifier) providers.push_back({*identifier, ReadName(key.Get(), subkey)});
  }
  if (providers.empty()) throw NoProvidersError{"no credential providers are registered in " + keyName};
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
    const std::string content = Trimmed(line, kBlanks);
    if (content.empty() || content.starts_with('#')) continue;
    std::optional<Provider> provider = ParseProviderLine(content);
    if (!provider) {
      throw MalformedIdentifierError{fileName + ":" + std::to_string(number) + ": '" + PlainUtf8(content) +
                                     "' does not start with a braced identifier"};
    }
    providers.push_back(*std::move(provider));
  }
  if (providers.empty()) throw NoProvidersError{"'" + fileName + "' contains no providers"};
  return providers;
}

}  // namespace Tools
