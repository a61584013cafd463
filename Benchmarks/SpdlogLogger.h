#pragma once

#include <memory>
#include <string>

// The level names of our log, so that both logs write the same line.
#define SPDLOG_LEVEL_NAMES \
  { "Trace", "Debug", "Info", "Warning", "Error", "Critical", "Off" }
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

namespace KuvBench {

/// Formats a line like the sinks of spdlog that write it, and discards it. (spdlog's null sink does not
/// format it.)
class DiscardingSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  /// Returns the last line.
  std::string Line() const { return {line_.data(), line_.size()}; }

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    line_.clear();
    formatter_->format(message, line_);
  }
  void flush_() override {}

 private:
  spdlog::memory_buf_t line_;
};

/// Returns a logger at `info` with the line format of our log.
std::shared_ptr<spdlog::logger> MakeSpdlogLogger(const spdlog::sink_ptr& sink);

/// Returns such a logger for a new file, which it flushes after every line.
std::shared_ptr<spdlog::logger> MakeSpdlogFileLogger(const std::wstring& path);

}  // namespace KuvBench
