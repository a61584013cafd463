#pragma once

#include <cstdint>
#include <string>

/// @file
/// Rotation of log files.

/// Rotates a log file that has reached `maxSizeKB` (units of 1,024 bytes): deletes the file with the number
/// `maxCount`, raises the number of each other file by one and renames the current file to number 1. The
/// number has at least two digits and precedes the last dot of the path: kuv.log, kuv01.log. Both limits must
/// be above 0. Ignores every failure. Writes each deletion and move of a numbered file to the debugger.
/// Throws only `std::bad_alloc`.
void RotateLogFile(const std::wstring& path, std::uint64_t maxSizeKB, std::uint64_t maxCount);
