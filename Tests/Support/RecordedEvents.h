#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Support/Text.h"
#include "Support/ImportHook.h"

namespace KuvTest {

/// What was passed to `ReportEventW`.
struct RecordedEvent {
  WORD type;
  DWORD identifier;
  std::string text;  ///< the only insertion string, in UTF-8
};

/// Replaces the Windows event log during a scope. Fails the test for another source than "Kuvant", and for an
/// event without exactly one insertion string.
class EventRecorder {
 public:
  EventRecorder() : open("RegisterEventSourceW"), report("ReportEventW"), close_("DeregisterEventSource") {
    open.Answer([](const wchar_t* server, const wchar_t* name) -> HANDLE {
      EXPECT_EQ(server, nullptr);
      EXPECT_EQ(std::wstring{name}, L"Kuvant");
      return reinterpret_cast<HANDLE>(0x51);
    });
    report.Answer([this](HANDLE, WORD type, WORD, DWORD identifier, PSID, WORD count, DWORD,
                         const wchar_t** texts, void*) {
      EXPECT_EQ(count, 1);
      events.push_back({type, identifier, WideToUtf8(texts[0])});
      return TRUE;
    });
    close_.Answer([](auto) { return TRUE; });
  }

  std::vector<RecordedEvent> events;
  ImportHook<decltype(&::RegisterEventSourceW)> open;
  ImportHook<decltype(&::ReportEventW)> report;

 private:
  ImportHook<decltype(&::DeregisterEventSource)> close_;
};

}  // namespace KuvTest
