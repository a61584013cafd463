#pragma once

#include <windows.h>

#include <string_view>

namespace FilterCheck {

/// Returns the name of a credential provider of Windows, for example "Password", or of a Kuv provider; an
/// empty text for any other.
std::string_view StockProviderName(const GUID& provider) noexcept;

}  // namespace FilterCheck
