#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>

namespace FilterCheck {

/// What a credential provider asks a user for.
enum class Asks : std::uint8_t {
  Unknown,
  Password,      ///< something the user knows, which works on any machine: a password, picture or local PIN
  Possession,    ///< something the user has: a smart card, a security key, a device set up for Windows Hello
  SecondFactor,  ///< the second factor of the Kuv service
};

/// Returns the name of a credential provider of Windows, for example "Password", or of a Kuv provider; an
/// empty text for any other.
std::string_view StockProviderName(const GUID& provider);

/// Returns what a provider asks for; `Asks::Unknown` for a provider that is not in the table.
Asks AskedBy(const GUID& provider);

/// Returns the text for a sentence: "a password".
std::string_view TextOf(Asks asks) noexcept;

}  // namespace FilterCheck
