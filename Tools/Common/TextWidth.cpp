#include "Common/TextWidth.h"

#include <algorithm>

namespace FilterHost {

std::size_t TextWidth(std::string_view text) noexcept {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char unit) { return (static_cast<unsigned char>(unit) & 0xC0) != 0x80; }));
}

}  // namespace FilterHost
