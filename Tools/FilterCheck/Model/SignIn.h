#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace FilterCheck {

/// A kind of sign-in: logon, unlock and change of password at the console; the same over Remote Desktop; an
/// elevation prompt that lists administrators.
enum class SignIn : std::uint8_t { Console, Remote, Elevation };

inline constexpr std::array kSignIns{SignIn::Console, SignIn::Remote, SignIn::Elevation};

/// Returns the index of a kind of sign-in in an array with one element for each kind.
constexpr std::size_t IndexOf(SignIn kind) noexcept {
  return static_cast<std::size_t>(kind);
}

/// Returns the name of a kind of sign-in in options and JSON: "console", "remote" or "elevation".
constexpr std::string_view NameOf(SignIn kind) noexcept {
  constexpr std::array<std::string_view, kSignIns.size()> kNames{"console", "remote", "elevation"};
  return kNames[IndexOf(kind)];
}

/// The kinds of sign-in that must be covered (`--require`), one flag for each kind.
using Demand = std::array<bool, kSignIns.size()>;
inline constexpr Demand kDefaultDemand{true, true, false};

}  // namespace FilterCheck
