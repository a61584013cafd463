#pragma once

#include <cstdint>

#include "KuvAuth/Logging/LogFront.h"

namespace Kuv::Util {

/// Logs at `Error` that a system call failed with a code. The caller reads the code right after the failed
/// call, before another call can change it.
inline void LogSystemCallFailure(const char* call, std::uint32_t code) {
  KUV_LOG(LogLevel::Error, "System call '%s' failed. {error: %d}", call, static_cast<int>(code));
}

}  // namespace Kuv::Util
