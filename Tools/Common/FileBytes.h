#pragma once

#include <cstdint>
#include <string>

namespace Tools {

/// Reads the bytes of a file from `start` on, or all of them if the file is shorter than that. Others may
/// have the file open for writing. Throws `FileNotReadableError`.
std::string ReadFileFrom(const std::wstring& path, std::uint64_t start);

}  // namespace Tools
