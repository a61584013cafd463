#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KuvAuth/ServiceClient/HashCalls.h"

/// @file
/// Parts of signed requests that do not log their failures.

namespace Kuv::Util {

/// The algorithm of the digest of a body (`CALG_SHA_512`).
inline constexpr std::uint32_t kSha512 = 0x800E;

/// Returns the text of `BuildJsonAuthorizationSignature` for a body with this digest.
std::string JoinJsonSignature(const std::string& first, const std::string& second, const std::string& third,
                              const std::string& fourth, const std::vector<std::uint8_t>& digest);

/// Stores the current time as the date of `BuildDateHeader`. Returns false and does not change `date` if a
/// call fails, and reports it to `failed`, unless that is null.
bool FormatCurrentDate(std::string& date, FailedCall* failed);

}  // namespace Kuv::Util
