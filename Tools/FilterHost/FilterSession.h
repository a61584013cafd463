#pragma once

#include <string>
#include <vector>

#include "Common/Scenario.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterHost {

/// The result of a call of `Filter` and the flags after it, one for each provider.
struct FilterAnswer {
  HRESULT result;
  std::vector<BOOL> allow;
};

/// The result for a credential from a remote connection. The last two members are valid only for `S_OK`,
/// which means that the filter redirects the credential.
struct RemoteAnswer {
  GUID meantFor;
  HRESULT result;
  GUID redirectedTo;
  bool contentUnchanged;
};

/// Initializes COM and uninitializes it on destruction. The apartment is single-threaded, as the filter's
/// registration requires. Throws `HostError`.
class ComApartment {
 public:
  ComApartment();
  ~ComApartment();
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
};

using Kuv::UniqueLibrary;

template <typename Interface>
struct InterfaceTraits {
  using Value = Interface*;
  static Value None() noexcept { return nullptr; }
  static void Close(Value object) noexcept { object->Release(); }
};
/// A reference to a COM interface, released with `Release`.
template <typename Interface>
using UniqueInterface = Kuv::UniqueResource<InterfaceTraits<Interface>>;

/// One filter object, used as the logon process uses it. The filter's DLL is unloaded on destruction.
class FilterSession {
 public:
  /// Creates the filter by its class identifier or, if `dll` is not empty, through `DllGetClassObject` of
  /// that file. Throws `HostError`.
  explicit FilterSession(const std::wstring& dll);

  /// Returns the path of the DLL.
  const std::wstring& Path() const noexcept { return path_; }

  /// Calls `Filter` for a scenario with these providers, each with the flag `allow`.
  FilterAnswer Ask(const Tools::Scenario& scenario, std::vector<GUID> providers, BOOL allow) const;

  /// Calls `UpdateRemoteCredential` with a small sample credential for a provider.
  RemoteAnswer OfferRemoteCredential(const GUID& provider) const;

 private:
  // In this order, so that the filter is released first and COM last.
  ComApartment apartment_;
  std::wstring path_;
  UniqueLibrary library_;
  UniqueInterface<ICredentialProviderFilter> filter_;
};

}  // namespace FilterHost
