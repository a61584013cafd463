#pragma once

#include <string>
#include <vector>

#include "Common/Scenario.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterHost {

/// The flags after a call of the filter, one for each provider.
struct FilterAnswer {
  HRESULT result;
  std::vector<BOOL> allow;
};

/// Where a credential from a remote connection goes. The last two members are valid only for S_OK, with
/// which the filter redirects it.
struct RemoteAnswer {
  GUID meantFor;
  HRESULT result;
  GUID redirectedTo;
  bool contentUnchanged;
};

/// Initializes COM, and uninitializes it on destruction. The apartment is single-threaded, as the filter's
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
  /// Creates the filter by its class identifier, or, with a path, through the `DllGetClassObject` of that
  /// file. Throws `HostError`.
  explicit FilterSession(const std::wstring& dll);

  /// Returns the path of the file that the filter comes from.
  const std::wstring& Path() const noexcept { return path_; }

  /// Asks the filter about the providers of a scenario, with `allow` as the flag of each.
  FilterAnswer Ask(const Tools::Scenario& scenario, std::vector<GUID> providers, BOOL allow) const;

  /// Offers a small sample credential that is meant for a provider.
  RemoteAnswer OfferRemoteCredential(const GUID& provider) const;

 private:
  // In this order, so that the filter is released first and COM last.
  ComApartment apartment_;
  std::wstring path_;
  UniqueLibrary library_;
  UniqueInterface<ICredentialProviderFilter> filter_;
};

}  // namespace FilterHost
