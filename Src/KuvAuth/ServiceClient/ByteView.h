#pragma once

#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>

/// @file
/// The views that `PercentEncode` and the digests read without a copy. The other encoders take a pointer and
/// a length.
namespace Kuv::Util {

/// A view of bytes: `std::string_view`, or what converts to `std::span<const std::byte>`.
template <typename View>
concept ByteView =
    std::same_as<View, std::string_view> || std::convertible_to<View, std::span<const std::byte>>;

/// A view of bytes or a text.
template <typename Input>
concept ByteInput = ByteView<Input> || std::convertible_to<Input, std::string_view>;

/// Returns the bytes of a view or a text. The pointer is never null, so that an empty view is a valid input
/// everywhere.
template <ByteInput Input>
[[nodiscard]] std::span<const std::byte> AsBytes(const Input& input) noexcept {
  static constexpr std::byte kNone{};
  std::span<const std::byte> bytes;
  if constexpr (std::convertible_to<Input, std::span<const std::byte>>) {
    bytes = input;
  } else {
    const std::string_view text = input;
    bytes = {reinterpret_cast<const std::byte*>(text.data()), text.size()};
  }
  return bytes.data() == nullptr ? std::span<const std::byte>{&kNone, std::size_t{0}} : bytes;
}

}  // namespace Kuv::Util
