#pragma once

#include <string_view>

#include <windows.h>

namespace FilterCheck {

/// Gives the name of a credential provider that comes with the platform, "Password" for example; empty for
/// any other.
std::string_view StockProviderName(const GUID& provider) noexcept;

}  // namespace FilterCheck
