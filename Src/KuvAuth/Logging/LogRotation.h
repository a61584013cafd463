#pragma once

#include <cstdint>
#include <string>

/// @file
/// Old log files.

/// Renames a log file that has reached `maxSizeKB` (units of 1,024 bytes): the numbered file
/// `maxCount` is deleted, each other one moves up by one, and the live file becomes number 1. The
/// number, of at least two digits, stands before the last dot of the path: kuv.log, kuv01.log.
/// Both limits must be above 0. Every failure is ignored; moves are told to the debugger stream.
/// Throws only if memory for the names is exhausted.
void RotateLogFile(const std::wstring& path, std::uint64_t maxSizeKB, std::uint64_t maxCount);
