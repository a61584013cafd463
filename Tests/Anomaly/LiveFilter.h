#pragma once

#include <windows.h>
#include <unknwn.h>

#include <cstdint>
#include <string>
#include <vector>

#include "KuvCredFilter/CredentialProviderApi.h"

namespace KuvTest {

/// Gives the path of the DLL that was built, which stands beside the test program.
std::wstring BuiltDll();

/// A reference to the built DLL, loaded by it if need be, and one filter of it. Throws `std::runtime_error`
/// if there is none to be had.
class LiveFilter {
 public:
  LiveFilter();
  ~LiveFilter();
  LiveFilter(const LiveFilter&) = delete;
  LiveFilter& operator=(const LiveFilter&) = delete;

  /// Asks for a decision; `allow` is in and out.
  HRESULT Decide(std::uint32_t scenario, DWORD flags, std::vector<GUID> providers,
                 std::vector<BOOL>& allow) const;
  /// Makes another filter of the DLL and releases it.
  void MakeAnother() const;

 private:
  ICredentialProviderFilter* Make() const;

  HMODULE module_;
  ICredentialProviderFilter* filter_;
};

/// Whether the DLL may go, as it says itself.
bool CanUnload(HMODULE module);

}  // namespace KuvTest
