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

/// Parses a finished line. Throws `std::runtime_error` if it does not have the form of a line with a
/// level tag.
LogLine ParseLogLine(const std::wstring& line);

/// Replaces the main log by another log system for the lifetime of the object and collects its output.
class LogCapture {
 public:
  explicit LogCapture(LogLevel minLevel = LogLevel::Trace);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  Kuv::LogSystem& System() { return *system_; }

  /// Returns the parsed lines so far.
  LogLines Lines() const;
  /// Returns the lines so far as the handler received them, prefix and line end included.
  const std::vector<std::wstring>& RawLines() const;
  /// Returns the 8-bit texts so far (`LogSystem::WriteRaw` and related functions).
  const std::vector<std::string>& NarrowTexts() const;
  void Clear();

  /// Returns whether any line or text so far contains this text.
  bool Contains(const std::string& text) const;

 private:
  struct Handler;

  std::shared_ptr<Handler> handler_;
  std::shared_ptr<Kuv::LogSystem> system_;
  std::shared_ptr<Kuv::LogSystem> before_;
};

}  // namespace KuvTest
