#pragma once

#include <cstddef>
#include <string_view>

namespace FilterHost {

/// Gives the columns that UTF-8 text takes on the screen: the bytes that continue a character take none.
std::size_t TextWidth(std::string_view text) noexcept;

}  // namespace FilterHost
