// Reading the client key from a console. Wine's tests have none, so the console functions are replaced.
#include "FilterSetup/Actions/SilentConsole.h"

#include <windows.h>

#include <algorithm>
#include <iostream>
#include <sstream>

#include <gmock/gmock.h>

#include "Common/ToolError.h"
#include "FilterSetup/Actions/SecretInput.h"
#include "Support/ImportHook.h"

namespace {

constexpr DWORD kMode = ENABLE_ECHO_INPUT | ENABLE_INSERT_MODE | ENABLE_MOUSE_INPUT;
constexpr DWORD kSilentMode =
    ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT | ENABLE_INSERT_MODE | ENABLE_MOUSE_INPUT;

class SilentConsole : public ::testing::Test {
 protected:
  SilentConsole()
      : standard("GetStdHandle"),
        getMode("GetConsoleMode"),
        setMode("SetConsoleMode"),
        setHandler("SetConsoleCtrlHandler"),
        read("ReadConsoleW"),
        before_(std::cerr.rdbuf(prompt.rdbuf())) {
    standard.Answer([this](DWORD which) {
      EXPECT_EQ(which, DWORD(STD_INPUT_HANDLE));
      return console;
    });
    getMode.Answer([this](HANDLE handle, DWORD* result) {
      EXPECT_EQ(handle, console);
      *result = mode;
      return TRUE;
    });
    setMode.Answer([this](HANDLE handle, DWORD value) {
      EXPECT_EQ(handle, console);
      mode = value;
      return TRUE;
    });
    setHandler.Answer([this](PHANDLER_ROUTINE routine, BOOL add) {
      handler = add != FALSE ? routine : nullptr;
      return TRUE;
    });
    read.Answer([this](HANDLE, void* buffer, DWORD capacity, DWORD* count, auto) {
      EXPECT_EQ(mode, kSilentMode);
      EXPECT_NE(handler, nullptr);
      const std::size_t end = std::min(typed.find(L'\n'), typed.size() - 1);
      const std::wstring block = typed.substr(0, std::min<std::size_t>(end + 1, capacity));
      typed.erase(0, block.size());
      block.copy(static_cast<wchar_t*>(buffer), block.size());
      *count = static_cast<DWORD>(block.size());
      return TRUE;
    });
  }
  ~SilentConsole() override {
    std::cerr.rdbuf(before_);
    EXPECT_EQ(mode, kMode);
    EXPECT_EQ(handler, nullptr);
  }

  // Returns the key, or the reason why it is refused.
  static std::string Read() {
    FilterSetup::Secret secret;
    try {
      FilterSetup::ReadSecret({}, secret);
    } catch (const Tools::ToolError& error) {
      return error.what();
    }
    return std::string{secret.Text()};
  }

  HANDLE console = reinterpret_cast<HANDLE>(0x1234);
  DWORD mode = kMode;
  PHANDLER_ROUTINE handler = nullptr;
  std::wstring typed;
  std::ostringstream prompt;
  KuvTest::ImportHook<decltype(&::GetStdHandle)> standard;
  KuvTest::ImportHook<decltype(&::GetConsoleMode)> getMode;
  KuvTest::ImportHook<decltype(&::SetConsoleMode)> setMode;
  KuvTest::ImportHook<decltype(&::SetConsoleCtrlHandler)> setHandler;
  KuvTest::ImportHook<decltype(&::ReadConsoleW)> read;

 private:
  std::streambuf* before_;
};

TEST_F(SilentConsole, ReadsLineWithoutEcho) {
  typed = L"new-key\r\n";
  EXPECT_EQ(Read(), "new-key");
  EXPECT_EQ(prompt.str(), "SKey (not shown): \n");
}

TEST_F(SilentConsole, AcceptsLongestKey) {
  typed = std::wstring(1023, L'x') + L"\r\n";
  EXPECT_EQ(Read(), std::string(1023, 'x'));
}

TEST_F(SilentConsole, ReadsTooLongLineToItsEnd) {
  typed = std::wstring(5000, L'x') + L"\r\nnext line";
  EXPECT_EQ(Read(), "SKey was not written: the text is longer than 1,023 characters");
  EXPECT_EQ(typed, L"next line");
}

TEST_F(SilentConsole, RefusesCharacterOutsideAscii) {
  for (const wchar_t unit : {L'\u00E4', L'\u0141', L'\uFF41', L'\x80'}) {
    typed = std::wstring{L"key"} + unit + L"\r\n";
    EXPECT_THAT(Read(), testing::HasSubstr("not printable ASCII"));
  }
}

TEST_F(SilentConsole, EndsAtEndOfInput) {
  EXPECT_EQ(Read(), "SKey was not written: the text is empty");
}

TEST_F(SilentConsole, RestoresModeIfReadingFails) {
  read.Answer([](auto, auto, auto, auto, auto) {
    ::SetLastError(ERROR_OPERATION_ABORTED);
    return FALSE;
  });
  EXPECT_THAT(Read(), testing::StartsWith("cannot read from the console: "));
}

TEST_F(SilentConsole, ReadsNothingIfEchoCannotBeTurnedOff) {
  setMode.AnswerCall(1, [](auto, auto) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  });
  const std::string reason = Read();
  EXPECT_THAT(reason, testing::StartsWith("cannot turn off the echo of the console: "));
  EXPECT_THAT(reason, testing::EndsWith("(error 5)"));
  EXPECT_EQ(read.CallCount(), 0u);
}

TEST_F(SilentConsole, RestoresModeAtControlC) {
  read.Answer([this](HANDLE, void*, DWORD, DWORD* count, auto) {
    EXPECT_EQ(handler(CTRL_C_EVENT), FALSE);
    EXPECT_EQ(mode, kMode);
    *count = 0;
    return TRUE;
  });
  Read();
}

}  // namespace
