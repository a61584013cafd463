#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "KuvAuth/Logging/LogSystem.h"

namespace KuvTest {

/// Collects what a log system hands to it.
struct RecordingHandler : Kuv::ILogHandler {
  virtual ~RecordingHandler() = default;

  void LogWrite(LogLevel level, const wchar_t* text) override { wide.emplace_back(level, text); }
  void LogWrite(LogLevel level, const char* text) override { narrow.emplace_back(level, text); }
  void Flush() override { ++flushes; }

  std::vector<std::pair<LogLevel, std::wstring>> wide;
  std::vector<std::pair<LogLevel, std::string>> narrow;
  int flushes = 0;
};

/// A log system that passes everything above `minLevel` to one recording handler.
struct RecordedSystem {
  explicit RecordedSystem(LogLevel minLevel = LogLevel::Trace) {
    system.minLevel = minLevel;
    system.AddHandler(handler);
  }

  /// The only line so far, or a text that no line equals.
  std::wstring Line() const { return handler->wide.size() == 1 ? handler->wide[0].second : L"not one line"; }

  std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
  Kuv::LogSystem system;
};

}  // namespace KuvTest
