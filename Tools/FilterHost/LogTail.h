#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace FilterHost {

/// Follows a text file: finds what is added to it after the construction.
class LogTail {
 public:
  explicit LogTail(std::wstring path);

  /// Reads the lines that were added, without their ends. A file that has become shorter was rotated: all
  /// lines of the new one count as added. Returns no line if there is no file. Throws
  /// `Tools::FileNotReadableError`.
  std::vector<std::string> AddedLines() const;

 private:
  std::wstring path_;
  std::uint64_t sizeBefore_;
};

}  // namespace FilterHost
