#pragma once

#include <windows.h>

#include <cstddef>
#include <span>

namespace FilterSetup {

/// Returns whether the handle is that of a console.
bool IsConsole(HANDLE input);

/// Reads one line from a console without echo, after a prompt on standard error, and restores the console,
/// also after Ctrl+C. Stores a character outside ASCII as the byte 0xFF and drops what does not fit. Returns
/// the number of bytes, including the line end. Throws `Tools::ToolError`.
std::size_t ReadSilently(HANDLE input, std::span<char> buffer);

}  // namespace FilterSetup
