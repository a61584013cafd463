#pragma once

#include <string>

namespace Tools {

/// Returns the path of the filter's log file on this machine. Does not create the file or its folder. Throws
/// `ToolError`.
std::wstring FilterLogPath();

}  // namespace Tools
