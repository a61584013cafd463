#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

/// The providers that may stay enabled, in no order that matters, duplicates allowed.
using AllowedProviderList = std::vector<GUID>;

/// A view of one of the platform's arrays, checked at each access. Owns nothing.
template <typename Element>
class BoundedArray {
 public:
  BoundedArray(Element* elements, std::uint64_t count) noexcept : elements_(elements), count_(count) {}

  std::uint64_t Count() const noexcept { return count_; }

  /// Gives the element. Throws `std::out_of_range` beyond the count.
  Element& operator[](std::uint64_t index) const {
    if (index >= count_) throw std::out_of_range{"Array index out of range"};
    return elements_[index];
  }

 private:
  Element* elements_;
  std::uint64_t count_;
};

/// The braced text of a GUID, 38 characters in upper case (`StringFromGUID2`), made without memory from
/// the heap. Empty if the platform fails.
class GuidText {
 public:
  explicit GuidText(const GUID& guid) noexcept;
  const wchar_t* Get() const noexcept { return text_; }
  /// Whether the platform gave a text.
  explicit operator bool() const noexcept { return length_ > 0; }

 private:
  wchar_t text_[50] = {};
  int length_;
};

/// Gives the text of a GUID (see `GuidText`) as a string.
std::wstring GuidToString(const GUID& guid);

/// Whether the provider is one of the two second-factor providers.
bool IsKuvProvider(const GUID& provider) noexcept;

/// Whether the list holds the provider.
bool IsAllowed(const AllowedProviderList& allowed, const GUID& provider) noexcept;

/// Builds the list anew from the configuration, loading that if need be: the whitelist,
/// `CLSID_KuvCredProv`, and with `EnableSmartCards` one smart card provider, either the wrapping one
/// (`WrapSmartCards`) or that of the running version of the platform. Throws `std::runtime_error` if
/// the configuration cannot be loaded, and `std::bad_alloc`.
AllowedProviderList GetAllowedProviders();

/// Enables the providers on the list and disables every other, whatever the flags were.
void EnableAllowedProviders(BoundedArray<const GUID> providers, BoundedArray<BOOL> allow,
                            const AllowedProviderList& allowed);

/// Disables the second-factor providers and enables every other, whatever the flags were.
void DisableKuvProviders(BoundedArray<const GUID> providers, BoundedArray<BOOL> allow);
