#pragma once

#include <cstddef>

#include "KuvAuth/Logging/LogSystem.h"

namespace Kuv {

/// Does what `LogSystem::Write` does, for a message that is not null. `length` is its length or more, up to
/// the capacity of a line: that many units may be read, and a NUL among them ends the message.
void WriteLine(LogSystem& system, const LogRecord& record, const char* message, std::size_t length);
/// @overload
void WriteLine(LogSystem& system, const LogRecord& record, const wchar_t* message, std::size_t length);

}  // namespace Kuv
