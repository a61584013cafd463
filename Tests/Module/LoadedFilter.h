#pragma once

#include <windows.h>
#include <shlobj.h>

#include <memory>
#include <string>
#include <vector>

#include "KuvCredFilter/CredentialProviderApi.h"
#include "Support/ImportHook.h"
#include "Support/TempFolder.h"

namespace KuvTest {

/// Gives the path of the DLL that was built, which stands beside the test program.
std::wstring FilterDllPath();

/// The DLL that was built, loaded anew, with the common application data folder of its own, so that its
/// log goes to a file of the test. Unloaded at the end of the scope, or by `Unload`.
class LoadedFilter {
 public:
  LoadedFilter();
  ~LoadedFilter();
  LoadedFilter(const LoadedFilter&) = delete;
  LoadedFilter& operator=(const LoadedFilter&) = delete;

  HMODULE Module() const { return module_; }
  HRESULT GetClassObject(REFCLSID rclsid, REFIID riid, void** object) const;
  HRESULT CanUnloadNow() const;
  /// Asks for the factory, makes a filter with it and releases the factory.
  ICredentialProviderFilter* CreateFilter() const;
  /// Frees the DLL; answers whether it is gone from the process.
  bool Unload();

  const std::wstring& LogPath() const { return logPath_; }
  /// The lines of the log file since the last call, as "Level: message", with addresses as "%p".
  std::vector<std::string> NewLogLines();

 private:
  TempFolder appData_;
  std::wstring logPath_;
  std::size_t logRead_ = 0;
  HMODULE module_;
  std::unique_ptr<ImportHook<decltype(&::SHGetFolderPathW)>> folder_;
};

}  // namespace KuvTest
