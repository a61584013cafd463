#pragma once

#include <string>
#include <vector>

#include "Common/Scenario.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterHost {

/// What the filter left of the flags that were passed in, one for each provider.
struct FilterAnswer {
  HRESULT result;
  std::vector<BOOL> allow;
};

/// Where a credential from a remote connection goes. The last two count only for S_OK: then the filter
/// redirects it.
struct RemoteAnswer {
  GUID meantFor;
  HRESULT result;
  GUID redirectedTo;
  bool contentUnchanged;
};

/// Keeps COM, in a single-threaded apartment as the filter is registered for, while it lives. Throws
/// `HostError`.
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
/// A COM interface, given back with `Release`.
template <typename Interface>
using UniqueInterface = Kuv::UniqueResource<InterfaceTraits<Interface>>;

/// One filter object, held as the logon process holds it. At its end the filter's DLL is unloaded.
class FilterSession {
 public:
  /// Creates the filter by its class identifier, or, with a path, through the `DllGetClassObject` of that
  /// file. Throws `HostError`.
  explicit FilterSession(const std::wstring& dll);

  /// The file that the filter comes from.
  const std::wstring& Path() const noexcept { return path_; }

  /// Asks for the providers of a scenario, with `allow` for each of them.
  FilterAnswer Ask(const Scenario& scenario, std::vector<GUID> providers, BOOL allow) const;

  /// Offers a small made-up credential that is meant for a provider.
  RemoteAnswer OfferRemoteCredential(const GUID& provider) const;

 private:
  // In this order, so that the filter goes first and COM last.
  ComApartment apartment_;
  std::wstring path_;
  UniqueLibrary library_;
  UniqueInterface<ICredentialProviderFilter> filter_;
};

}  // namespace FilterHost
