#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Tools {

/// Reads a file from the byte offset `start`, or the whole file if it is shorter than that. Other processes
/// may have the file open for writing. Throws `FileNotReadableError`.
std::string ReadFileFrom(const std::wstring& path, std::uint64_t start);

/// Reads the last `mostBytes` bytes of a file, or the whole file if it is shorter. Other processes may have
/// the file open for writing. Throws `FileNotReadableError`.
std::string ReadFileEnd(const std::wstring& path, std::size_t mostBytes);

}  // namespace Tools
