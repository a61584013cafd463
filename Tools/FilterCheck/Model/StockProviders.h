#pragma once

#include <windows.h>

#include <string_view>

namespace FilterCheck {

/// Gives the name of a credential provider that comes with the platform, "Password" for example; empty for
/// any other. The two Kuv providers have theirs too.
std::string_view StockProviderName(const GUID& provider) noexcept;

}  // namespace FilterCheck
