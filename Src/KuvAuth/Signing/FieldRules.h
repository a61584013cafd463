#pragma once

#include <optional>
#include <string_view>

#include "KuvAuth/Signing/Failure.h"
#include "KuvAuth/Signing/Request.h"

/// @file
/// The rules that the fields of a request must follow, for signing and verification.

namespace Kuv::Signing {

/// Returns why a text cannot be the method (RFC 9110, section 5.6.2, without lower case), or nothing.
std::optional<Reason> CheckMethod(std::string_view text) noexcept;
/// Returns why a text cannot be the host, or nothing.
std::optional<Reason> CheckHost(std::string_view text) noexcept;
/// Returns why a text cannot be the path, or nothing.
std::optional<Reason> CheckPath(std::string_view text) noexcept;
/// Returns why a text cannot be the date, or nothing.
std::optional<Reason> CheckDate(std::string_view text) noexcept;
/// Returns why a text cannot be the integration key, or nothing.
std::optional<Reason> CheckIntegrationKey(std::string_view text) noexcept;
/// Returns why a text cannot be the value of a parameter, or nothing.
std::optional<Reason> CheckParameterValue(std::wstring_view text) noexcept;
/// Returns whether a text contains only what `BuildParameterString` writes.
bool IsParameterText(std::string_view text) noexcept;

/// Returns why a request cannot be signed, or nothing.
std::optional<Failure> CheckRequest(const Request& request);

/// Returns whether the texts of a request have more than `kMaximumSize` characters in total.
bool IsTooLarge(const Request& request) noexcept;

}  // namespace Kuv::Signing
