#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace FilterHost {

/// Reads the lines that are added to a text file after the object is created.
class LogTail {
 public:
  explicit LogTail(std::wstring path);

  /// Returns the added lines without line ends. If the file has become shorter, it was rotated, and all its
  /// lines are returned. Returns nothing if the file does not exist. Throws `Tools::FileNotReadableError`.
  std::vector<std::string> AddedLines() const;

 private:
  std::wstring path_;
  std::uint64_t sizeBefore_;
};

}  // namespace FilterHost
