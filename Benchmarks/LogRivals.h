#pragma once

#include <memory>
#include <string>

// The level names of this system, so that both make the same line.
#define SPDLOG_LEVEL_NAMES \
  { "Trace", "Debug", "Info", "Warning", "Error", "Critical", "Off" }
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

namespace KuvBench {

/// Makes the line, as every sink of spdlog does that keeps it, and drops it. (spdlog's own null sink does
/// not make the line.)
class DiscardingSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  /// The line that was made last.
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

/// A logger at `info` whose lines read as those of this system's log.
std::shared_ptr<spdlog::logger> MakeRival(const spdlog::sink_ptr& sink);

/// The same, onto a new file that is flushed at every line.
std::shared_ptr<spdlog::logger> MakeFileRival(const std::wstring& path);

}  // namespace KuvBench
