#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace Tools {

/// Parses a braced class identifier of 38 characters, in upper or lower case. Returns nothing for any other
/// text, including a program identifier, which Windows would look up in the registry.
std::optional<GUID> ParseIdentifier(const std::string& text);

/// Formats an identifier as braced text in upper case.
std::string IdentifierText(const GUID& identifier);

}  // namespace Tools
