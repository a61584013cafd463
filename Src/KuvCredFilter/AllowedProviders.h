#pragma once

#include <windows.h>

#include <vector>

#include "KuvAuth/Support/BoundedArray.h"
#include "KuvAuth/Support/GuidText.h"

/// The providers that may stay enabled. The order has no meaning; duplicates are allowed.
using AllowedProviderList = std::vector<GUID>;

/// Returns whether the provider is the Kuv credential provider or the Kuv smart card provider.
bool IsKuvProvider(const GUID& provider) noexcept;

/// Returns whether the list contains the provider.
bool IsAllowed(const AllowedProviderList& allowed, const GUID& provider) noexcept;

/// Loads the configuration if it is incomplete and returns the allowed providers: the whitelist,
/// `CLSID_KuvCredProv`, and with `EnableSmartCards` one smart card provider, either the wrapping one
/// (`WrapSmartCards`) or that of the running version of Windows. Throws `std::runtime_error` if the
/// configuration cannot be loaded, and `std::bad_alloc`.
AllowedProviderList GetAllowedProviders();

/// Enables the providers on the list and disables all others.
void EnableAllowedProviders(BoundedArray<const GUID> providers, BoundedArray<BOOL> allow,
                            const AllowedProviderList& allowed);

/// Disables the Kuv providers and enables all others.
void DisableKuvProviders(BoundedArray<const GUID> providers, BoundedArray<BOOL> allow);
