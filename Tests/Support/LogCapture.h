#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "KuvAuth/Logging/LogFront.h"

namespace KuvTest {

/// A line of the log without its time stamp, ids, level tag and line end, in UTF-8.
struct LogLine {
  LogLevel level;
  std::string text;

  bool operator==(const LogLine&) const = default;
};
using LogLines = std::vector<LogLine>;

void PrintTo(const LogLine& line, std::ostream* out);

/// Takes a finished line apart. Throws `std::runtime_error` if it has not the form of a line with a
/// level tag.
LogLine ParseLogLine(const std::wstring& line);

/// Puts a log system of its own in place of the main log for the life of the object and collects what
/// it hands out.
class LogCapture {
 public:
  explicit LogCapture(LogLevel minLevel = LogLevel::Trace);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  Kuv::LogSystem& System() { return *system_; }

  /// The lines so far, taken apart.
  LogLines Lines() const;
  /// The lines so far as the handler got them, prefix and line end included.
  const std::vector<std::wstring>& RawLines() const;
  /// The 8-bit texts so far (`LogSystem::WriteRaw` and its kin).
  const std::vector<std::string>& NarrowTexts() const;
  void Clear();

  /// Whether the text stands in any line or text so far.
  bool Contains(const std::string& text) const;

 private:
  struct Handler;

  std::shared_ptr<Handler> handler_;
  std::shared_ptr<Kuv::LogSystem> system_;
  std::shared_ptr<Kuv::LogSystem> before_;
};

}  // namespace KuvTest
