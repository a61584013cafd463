#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace FilterHost {

/// Reads a braced class identifier of 38 characters, in either case. Nothing but that form counts:
/// program identifiers, which the platform would look up, do not.
std::optional<GUID> ParseIdentifier(const std::string& text);

/// Gives the braced text in upper case.
std::string IdentifierText(const GUID& identifier);

}  // namespace FilterHost
