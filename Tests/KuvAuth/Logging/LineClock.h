#pragma once

#include <string>

#include "Support/ImportHook.h"

namespace KuvTest {

/// Fixes the clock of the log at 2 June 2025, 12:59:52, for the lifetime of the object, so that tests know
/// the start of a line exactly.
class LineClock {
 public:
  LineClock() {
    hook_.Answer([this](SYSTEMTIME* time) { *time = now; });
  }

  /// Returns the start of a line up to and including the ids, for the calling thread.
  static std::wstring TimeAndIds() {
    return L"06/02/25 12:59:52 [" + std::to_wstring(::GetCurrentProcessId()) + L"](" +
           std::to_wstring(::GetCurrentThreadId()) + L") ";
  }

  SYSTEMTIME now{.wYear = 2025,
                 .wMonth = 6,
                 .wDayOfWeek = 1,
                 .wDay = 2,
                 .wHour = 12,
                 .wMinute = 59,
                 .wSecond = 52,
                 .wMilliseconds = 999};

 private:
  ImportHook<decltype(&::GetLocalTime)> hook_{"GetLocalTime"};
};

}  // namespace KuvTest
