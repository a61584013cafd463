#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "KuvAuth/Signing/Result.h"

namespace Kuv::Signing {

/// Returns a time as an HTTP date in the form of RFC 1123 (IMF-fixdate of RFC 9110, section 5.6.7), for
/// example "Sun, 06 Nov 1994 08:49:37 GMT". Fails with `Reason::OutOfRange` outside the years 0 to 9999.
[[nodiscard]] Result<std::string> FormatHttpDate(std::chrono::sys_seconds time);

/// Returns the time of an HTTP date in exactly this form: 29 characters, with the right day of the week. A
/// second of 60 is the next minute. Returns nothing for any other text, the obsolete forms included.
[[nodiscard]] std::optional<std::chrono::sys_seconds> ParseHttpDate(std::string_view text) noexcept;

}  // namespace Kuv::Signing
