#include <windows.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogMessage.h"
#include "KuvAuth/Logging/PlainLog.h"
#include "LineClock.h"
#include "Support/ImportHook.h"

namespace {

using Kuv::kLogLineCapacity;
using KuvTest::LineClock;

// Leaves no zero on the part of the stack that the calls after it use.
void DirtyTheStack() {
  volatile char used[65536];
  for (volatile char& byte : used) byte = '#';
}

// Keeps the text of the last call, and whether the buffer of `kLogLineCapacity` units is zero after it.
class BufferHandler : public Kuv::ILogHandler {
 public:
  virtual ~BufferHandler() = default;
  void LogWrite(LogLevel, const wchar_t* line) override { text = Look(line); }
  void LogWrite(LogLevel, const char* line) override {
    const std::string narrow = Look(line);
    text.assign(narrow.begin(), narrow.end());
  }
  void Flush() override {}

  std::wstring text = L"none";
  bool zero = false;

 private:
  template <typename Unit>
  std::basic_string<Unit> Look(const Unit* line) {
    std::basic_string<Unit> copy{line};
    zero = std::all_of(line + copy.size(), line + kLogLineCapacity, [](Unit unit) { return unit == 0; });
    return copy;
  }
};

class ZeroedBuffer : public ::testing::Test {
 protected:
  ZeroedBuffer() { system->AddHandler(handler); }

  void ExpectZeroAfter(const std::wstring& text, const std::function<void()>& write) {
    SCOPED_TRACE(::testing::PrintToString(text));
    DirtyTheStack();
    write();
    EXPECT_EQ(handler->text, text);
    EXPECT_TRUE(handler->zero);
  }

  std::wstring Start() const { return LineClock::TimeAndIds() + L"[Info] "; }

  const LineClock clock;
  std::shared_ptr<BufferHandler> handler = std::make_shared<BufferHandler>();
  std::shared_ptr<Kuv::LogSystem> system = std::make_shared<Kuv::LogSystem>();
};

class ZeroedLineBuffer : public ZeroedBuffer {
 protected:
  ZeroedLineBuffer() { g_logSystem = system; }
  ~ZeroedLineBuffer() override { g_logSystem.reset(); }
};

class ZeroedPlainBuffer : public ZeroedBuffer {
 protected:
  ZeroedPlainBuffer() { g_plainLog = system; }
  ~ZeroedPlainBuffer() override { g_plainLog.reset(); }
};

TEST_F(ZeroedLineBuffer, FollowsALineOfEitherWidth) {
  ExpectZeroAfter(Start() + L"text\r\n", [] { KUV_LOG(LogLevel::Info, "%s", "text"); });
  ExpectZeroAfter(Start() + L"text\r\n", [] { KUV_LOG(LogLevel::Info, L"%s", L"text"); });
  ExpectZeroAfter(Start() + L"text\r\n", [&] { system->Write(LogLevel::Info, "f", 1, "text"); });
  ExpectZeroAfter(Start() + L"text\r\n", [&] { system->Write(LogLevel::Info, "f", 1, L"text"); });
  ExpectZeroAfter(Start() + L"text\r\n", [&] { LogTo({LogLevel::Info, "f", 1}, *system, L"text"); });
  ExpectZeroAfter(Start() + L"1\r\n", [&] { LogFormatTo({LogLevel::Info, "f", 1}, *system, L"%d", 1); });
}

TEST_F(ZeroedLineBuffer, FollowsATruncatedLine) {
  const std::string narrow(5000, 'n');
  const std::wstring wide(5000, L'w');
  ExpectZeroAfter(Start() + std::wstring(2045 - Start().size(), L'n') + L"\r\n",
                  [&] { KUV_LOG(LogLevel::Info, "%s", narrow.c_str()); });
  ExpectZeroAfter(Start() + std::wstring(2045 - 2 * Start().size(), L'w') + L"\r\n",
                  [&] { KUV_LOG(LogLevel::Info, L"%s", wide.c_str()); });
}

TEST_F(ZeroedLineBuffer, FollowsAMessageThatAnArgumentEndsWithANul) {
  ExpectZeroAfter(Start() + L"ab\r\n", [] { KUV_LOG(LogLevel::Info, "ab%cand the rest of it", '\0'); });
  ExpectZeroAfter(Start() + L"ab\r\n", [] { KUV_LOG(LogLevel::Info, L"ab%cand the rest of it", L'\0'); });
}

TEST_F(ZeroedLineBuffer, FollowsAMessageThatLosesItsTail) {
  ExpectZeroAfter(Start() + L"na\xEFve tex\r\n", [] { KUV_LOG(LogLevel::Info, "na\xC3\xAFve text"); });
}

TEST_F(ZeroedLineBuffer, FollowsALineWhoseConversionFails) {
  KUV_IMPORT_HOOK(convert, MultiByteToWideChar);
  // Fails after a part of its output.
  convert.Answer([](UINT, DWORD, const char*, int, wchar_t* destination, int size) {
    if (size > 0) std::fill_n(destination, size, L'?');
    return size > 0 ? 0 : 40;
  });
  ExpectZeroAfter(Start() + L"\r\n", [] { KUV_LOG(LogLevel::Info, "a long ASCII start, then \xC3\xA9"); });
  EXPECT_EQ(convert.CallCount(), 2u);
}

TEST_F(ZeroedLineBuffer, FollowsALineWhoseFormatIsRejected) {
  const wchar_t* const unfinished = L"before %";
  ExpectZeroAfter(Start() + L"\r\n", [&] { LogFormat({LogLevel::Info, "f", 1}, unfinished); });
}

// The runtime of Visual C++ is linked statically, so its formatter has no import.
#if !defined(_MSC_VER) && defined(_WIN64)
using NarrowFormatter = int (*)(char*, std::size_t, std::size_t, const char*, char*);
using WideFormatter = int (*)(wchar_t*, std::size_t, std::size_t, const wchar_t*, char*);

// A formatter that fills the rest of its buffer, as a debug runtime does.
template <typename Formatter>
class FillingFormatter {
 public:
  explicit FillingFormatter(const char* name) : hook_{name} {
    hook_.Answer(
        [this](auto* buffer, std::size_t capacity, std::size_t count, auto* format, char* arguments) {
          const int written = hook_.Original(buffer, capacity, count, format, arguments);
          if (written >= 0) std::fill(buffer + written + 1, buffer + capacity, '#');
          return written;
        });
  }

  std::size_t CallCount() const { return hook_.CallCount(); }

 private:
  KuvTest::ImportHook<Formatter> hook_;
};

TEST_F(ZeroedLineBuffer, FollowsALineWithALocationWhateverTheFormatterLeaves) {
  system->locationLevel = LogLevel::Info;
  const FillingFormatter<WideFormatter> formatter{"_vsnwprintf_s"};
  ExpectZeroAfter(LineClock::TimeAndIds() + L"f(1) [Info] text\r\n",
                  [&] { system->Write(LogLevel::Info, "f", 1, "text"); });
  EXPECT_EQ(formatter.CallCount(), 1u);
}

TEST_F(ZeroedPlainBuffer, FollowsALineWhateverTheFormatterLeaves) {
  const FillingFormatter<NarrowFormatter> narrow{"_vsnprintf_s"};
  const FillingFormatter<WideFormatter> wide{"_vsnwprintf_s"};
  ExpectZeroAfter(L"text\r\n", [] { PlainLogFormat("%s", "text"); });
  ExpectZeroAfter(L"text\r\n", [] { PlainLogFormat(L"%s", L"text"); });
  EXPECT_EQ(narrow.CallCount() + wide.CallCount(), 2u);
}
#endif

TEST_F(ZeroedPlainBuffer, FollowsALineOfEitherWidth) {
  ExpectZeroAfter(L"text\r\n", [] { PlainLogFormat("%s", "text"); });
  ExpectZeroAfter(L"text\r\n", [] { PlainLogFormat(L"%s", L"text"); });
}

TEST_F(ZeroedPlainBuffer, FollowsAMessageThatAnArgumentEndsWithANul) {
  ExpectZeroAfter(L"ab\r\n", [] { PlainLogFormat("ab%cand the rest of it", '\0'); });
  ExpectZeroAfter(L"ab\r\n", [] { PlainLogFormat(L"ab%cand the rest of it", L'\0'); });
}

TEST_F(ZeroedPlainBuffer, FollowsALineWhoseFormatIsRejected) {
  // This character cannot be formatted as 8-bit text in the "C" locale.
  ExpectZeroAfter(L"\r\n", [] { PlainLogFormat("before %ls after", L"\x2603"); });
  const wchar_t* const unfinished = L"before %";
  ExpectZeroAfter(L"\r\n", [&] { PlainLogFormat(unfinished); });
}

}  // namespace
