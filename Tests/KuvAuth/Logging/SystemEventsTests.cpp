#include "KuvAuth/Logging/SystemEvents.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/LogCapture.h"

namespace {

using KuvTest::LogCapture;
using KuvTest::LogLines;

using Events = std::vector<std::string>;

const HANDLE kSource = reinterpret_cast<HANDLE>(std::uintptr_t{0x1234});

// Replaces the event log and checks its arguments.
class EventLog : public ::testing::Test {
 protected:
  EventLog() {
    register_.Answer([this](const wchar_t* server, const wchar_t* source) {
      events.push_back("register");
      EXPECT_EQ(server, nullptr);
      EXPECT_STREQ(source, L"Kuvant");
      return hasSource ? kSource : nullptr;
    });
    reportWide_.Answer([this](auto... arguments) { return Report("report wide", wide, arguments...); });
    reportNarrow_.Answer([this](auto... arguments) { return Report("report narrow", narrow, arguments...); });
    deregister_.Answer([this](HANDLE source) {
      events.push_back("deregister");
      EXPECT_EQ(source, kSource);
      return FALSE;
    });
  }

  Events events;
  std::vector<std::wstring> wide;
  std::vector<std::string> narrow;
  std::vector<WORD> types;
  bool hasSource = true;
  BOOL result = TRUE;

 private:
  template <typename Texts, typename Unit>
  BOOL Report(const char* event, Texts& texts, HANDLE source, WORD type, WORD category, DWORD identifier,
              const void* user, WORD count, DWORD size, const Unit** strings, const void* data) {
    events.push_back(event);
    EXPECT_EQ(source, kSource);
    types.push_back(type);
    EXPECT_EQ(category, 0u);
    EXPECT_EQ(identifier, 0xC0020000u);
    EXPECT_EQ(user, nullptr);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(data, nullptr);
    texts.emplace_back(strings[0]);
    return result;
  }

  KuvTest::ImportHook<decltype(&::RegisterEventSourceW)> register_{"RegisterEventSourceW"};
  KuvTest::ImportHook<decltype(&::ReportEventW)> reportWide_{"ReportEventW"};
  KuvTest::ImportHook<decltype(&::ReportEventA)> reportNarrow_{"ReportEventA"};
  KuvTest::ImportHook<decltype(&::DeregisterEventSource)> deregister_{"DeregisterEventSource"};
};

TEST_F(EventLog, RecordsAnEventOfEitherWidthWithoutALogSystem) {
  EXPECT_EQ(RecordSystemEvent(EVENTLOG_WARNING_TYPE, std::wstring{L"caf\xE9 100%"}), 1);
  EXPECT_EQ(RecordSystemEvent(EVENTLOG_ERROR_TYPE, std::string{"text 100%"}), 1);
  EXPECT_EQ(events,
            (Events{"register", "report wide", "deregister", "register", "report narrow", "deregister"}));
  EXPECT_EQ(wide, (std::vector<std::wstring>{L"caf\xE9 100%"}));
  EXPECT_EQ(narrow, (std::vector<std::string>{"text 100%"}));
  EXPECT_EQ(types, (std::vector<WORD>{2, 1}));
}

TEST_F(EventLog, PassesAnyTypeOn) {
  for (const WORD type : {WORD{0}, WORD{0x10}, WORD{0xFFFF}}) RecordSystemEvent(type, std::string{"text"});
  EXPECT_EQ(types, (std::vector<WORD>{0, 0x10, 0xFFFF}));
}

TEST_F(EventLog, ReturnsThePlatformsResult) {
  for (const BOOL answer : {0, 1, 42, -1}) {
    result = answer;
    EXPECT_EQ(RecordSystemEvent(1, std::string{"text"}), answer);
    EXPECT_EQ(RecordSystemEvent(1, std::wstring{L"text"}), answer);
  }
}

TEST_F(EventLog, DeregistersAfterAFailedReport) {
  result = FALSE;
  EXPECT_EQ(RecordSystemEvent(1, std::wstring{L"text"}), 0);
  EXPECT_EQ(events, (Events{"register", "report wide", "deregister"}));
}

TEST_F(EventLog, RecordsAnEmptyTextAsOneEmptyString) {
  EXPECT_EQ(RecordSystemEvent(1, std::wstring{}), 1);
  EXPECT_EQ(RecordSystemEvent(1, std::string{}), 1);
  EXPECT_EQ(wide, (std::vector<std::wstring>{L""}));
  EXPECT_EQ(narrow, (std::vector<std::string>{""}));
}

TEST_F(EventLog, IsLoggedEvenWithoutASource) {
  hasSource = false;
  LogCapture log;
  EXPECT_EQ(RecordSystemEvent(1, std::string{"narrow"}), 0);
  EXPECT_EQ(RecordSystemEvent(1, std::wstring{L"wide"}), 0);
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Info, "Recording system event: narrow"},
                                   {LogLevel::Info, "Recording system event: wide"}}));
  EXPECT_EQ(events, (Events{"register", "register"}));
}

TEST_F(EventLog, IsLoggedAsTextOfItsOwnWidth) {
  LogCapture log;
  RecordSystemEvent(1, std::wstring{L"caf\xE9"});
  // The log loses the tail of an 8-bit text outside ASCII, the event does not.
  RecordSystemEvent(1, std::string{"caf\xC3\xA9"});
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Info, "Recording system event: caf\xC3\xA9"},
                                   {LogLevel::Info, "Recording system event: caf"}}));
  EXPECT_EQ(narrow, (std::vector<std::string>{"caf\xC3\xA9"}));
}

TEST_F(EventLog, IsRecordedAfterItIsLogged) {
  KUV_IMPORT_HOOK(clock, GetLocalTime);
  clock.Answer([&](SYSTEMTIME* time) {
    events.push_back("log");
    *time = {};
  });
  const LogCapture log;
  RecordSystemEvent(1, std::string{"text"});
  RecordSystemEvent(1, std::wstring{L"text"});
  EXPECT_EQ(events, (Events{"log", "register", "report narrow", "deregister", "log", "register",
                            "report wide", "deregister"}));
}

}  // namespace
