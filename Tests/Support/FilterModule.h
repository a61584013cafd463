#pragma once

#include <windows.h>
#include <unknwn.h>

#include <cstdint>
#include <string>
#include <vector>

#include "KuvCredFilter/CredentialProviderApi.h"

namespace KuvTest {

/// Returns the path of the built DLL, which is in the folder of this program.
std::wstring FilterDllPath();

/// A reference to the built DLL, which is loaded if it is not in the process yet, and released at the end of
/// the scope or by `Unload`. Usable without GoogleTest.
class FilterModule {
 public:
  /// Loads the DLL. With `appData` it uses this folder as the folder for common application data, so that its
  /// log goes there; one folder at a time. Throws `std::runtime_error` if the DLL does not load.
  explicit FilterModule(const std::wstring& appData = {});
  ~FilterModule();
  FilterModule(const FilterModule&) = delete;
  FilterModule& operator=(const FilterModule&) = delete;

  HMODULE Get() const { return module_; }
  /// Replaces a function in the import table of the DLL until it is unloaded.
  void ReplaceImport(const char* name, void* function) const;

  HRESULT GetClassObject(REFCLSID rclsid, REFIID riid, void** object) const;
  HRESULT CanUnloadNow() const;
  HRESULT RegisterServer() const;
  HRESULT UnregisterServer() const;

  /// Creates a filter by means of the class factory. Throws `std::runtime_error` if that fails.
  ICredentialProviderFilter* CreateFilter() const;

  /// Releases the DLL. Returns whether it has left the process.
  bool Unload();

 private:
  HMODULE module_;
};

/// The DLL with one filter of it. The constructor throws `std::runtime_error` if there is none.
class LiveFilter {
 public:
  explicit LiveFilter(const std::wstring& appData = {}) : module_(appData), filter_(module_.CreateFilter()) {}
  ~LiveFilter() { filter_->Release(); }
  LiveFilter(const LiveFilter&) = delete;
  LiveFilter& operator=(const LiveFilter&) = delete;

  const FilterModule& Module() const { return module_; }
  ICredentialProviderFilter& Filter() const { return *filter_; }

  /// Calls `Filter`; `allow` is input and output.
  HRESULT Decide(std::uint32_t scenario, DWORD flags, std::vector<GUID> providers,
                 std::vector<BOOL>& allow) const {
    return filter_->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(scenario), flags, providers.data(),
                           allow.data(), static_cast<DWORD>(providers.size()));
  }

 private:
  FilterModule module_;
  ICredentialProviderFilter* filter_;
};

}  // namespace KuvTest
