#pragma once

#include <windows.h>

#include <string_view>

namespace FilterCheck {

/// Returns the name of a credential provider of the platform, "Password" for example, or of a Kuv provider;
/// empty for any other.
std::string_view StockProviderName(const GUID& provider) noexcept;

}  // namespace FilterCheck
