#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace FilterHost {

/// A credential provider as the logon process knows it; the name, in UTF-8, may be empty.
struct Provider {
  GUID identifier;
  std::string name;
};
using ProviderList = std::vector<Provider>;

/// Gives the providers that are installed on this machine, in the order of the registry. Throws
/// `HostError`, also if there are none.
ProviderList ReadInstalledProviders();

/// Gives the providers that a UTF-8 text file lists: a braced identifier and an optional name a line,
/// blank lines and lines that start with # passed over. Throws `HostError`, also if there are none.
ProviderList ReadProviderFile(const std::wstring& path);

}  // namespace FilterHost
