#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace FilterHost {

/// Gives the path of the filter's log file on this machine; neither file nor folder is made. Throws
/// `HostError`.
std::wstring FilterLogPath();

/// Tells what is added to a text file from the construction on.
class LogTail {
 public:
  explicit LogTail(std::wstring path);

  /// The lines that were added, without their ends. A file that has become shorter was rotated: all of the
  /// new one is given. Empty if there is no file. Throws `HostError`.
  std::vector<std::string> AddedLines() const;

 private:
  std::wstring path_;
  std::uint64_t sizeBefore_;
};

}  // namespace FilterHost
