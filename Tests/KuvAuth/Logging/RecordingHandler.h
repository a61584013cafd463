#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "KuvAuth/Logging/LogSystem.h"

namespace KuvTest {

/// Records what a log system passes to it.
struct RecordingHandler : Kuv::ILogHandler {
  virtual ~RecordingHandler() = default;

  void LogWrite(LogLevel level, const wchar_t* text) override { wide.emplace_back(level, text); }
  void LogWrite(LogLevel level, const char* text) override { narrow.emplace_back(level, text); }
  void Flush() override { ++flushes; }

  std::vector<std::pair<LogLevel, std::wstring>> wide;
  std::vector<std::pair<LogLevel, std::string>> narrow;
  int flushes = 0;
};

/// A log system that passes everything at or above `minLevel` to one recording handler.
struct RecordedSystem {
  explicit RecordedSystem(LogLevel minLevel = LogLevel::Trace) {
    system.minLevel = minLevel;
    system.AddHandler(handler);
  }

  /// Returns the only line so far, or "not one line".
  std::wstring Line() const { return handler->wide.size() == 1 ? handler->wide[0].second : L"not one line"; }

  std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
  Kuv::LogSystem system;
};

}  // namespace KuvTest
