#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace Tools {

/// The key below `HKEY_LOCAL_MACHINE` in which credential providers are registered.
inline constexpr wchar_t kProvidersKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers";

/// A credential provider. Its name is UTF-8 and may be empty.
struct Provider {
  GUID identifier;
  std::string name;
};
using ProviderList = std::vector<Provider>;

/// Returns the name of a provider, or its identifier if it has none.
std::string NameOrIdentifier(const Provider& provider);

/// Reads the providers that are installed on this machine, in the order of the registry. Throws
/// `NoProvidersError` if there are none, and `ToolError` if they cannot be read.
ProviderList ReadInstalledProviders();

/// Reads a provider from each line of a UTF-8 text file: a braced identifier and an optional name. Skips
/// blank lines and lines that start with #. Throws `FileNotReadableError`, `MalformedIdentifierError`, and
/// `NoProvidersError` if there are none.
ProviderList ReadProviderFile(const std::wstring& path);

}  // namespace Tools
