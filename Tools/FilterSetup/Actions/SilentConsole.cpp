#include "FilterSetup/Actions/SilentConsole.h"

#include <atomic>
#include <iostream>

#include "Common/ErrorText.h"
#include "Common/ToolError.h"
#include "FilterSetup/Actions/SecretInput.h"

namespace FilterSetup {

namespace {

[[noreturn]] void ThrowConsole(const char* what) {
  throw Tools::ToolError{what + Tools::DescribeError(::GetLastError())};
}

// The console whose mode must be restored if the process ends early; null for none.
constinit std::atomic<HANDLE> g_console{nullptr};
constinit std::atomic<DWORD> g_mode{0};

void RestoreConsole() {
  const HANDLE console = g_console.exchange(nullptr);
  if (console != nullptr) ::SetConsoleMode(console, g_mode);
}

// Runs in a separate thread at Ctrl+C, and when the console is closed.
BOOL WINAPI RestoreAtControl(DWORD) {
  RestoreConsole();
  return FALSE;  // the next handler ends the process
}

// Turns the echo off for the lifetime of the object.
class EchoOff {
 public:
  explicit EchoOff(HANDLE console) {
    DWORD mode = 0;
    if (::GetConsoleMode(console, &mode) == FALSE) ThrowConsole("cannot read the mode of the console: ");
    g_mode = mode;
    g_console = console;
    ::SetConsoleCtrlHandler(RestoreAtControl, TRUE);
    const DWORD silent = (mode & ~DWORD{ENABLE_ECHO_INPUT}) | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT;
    if (::SetConsoleMode(console, silent) != FALSE) return;
    const DWORD code = ::GetLastError();
    End();
    ::SetLastError(code);
    ThrowConsole("cannot turn off the echo of the console: ");
  }
  ~EchoOff() { End(); }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;

 private:
  static void End() {
    ::SetConsoleCtrlHandler(RestoreAtControl, FALSE);
    RestoreConsole();
  }
};

// Reads a block of a line. Returns the number of units.
std::size_t ReadBlock(HANDLE input, SecretBuffer<wchar_t, 256>& block) {
  DWORD count = 0;
  if (::ReadConsoleW(input, block.Data(), static_cast<DWORD>(block.Size()), &count,
                     /*pInputControl=*/nullptr) == FALSE) {
    ThrowConsole("cannot read from the console: ");
  }
  return count;
}

}  // namespace

bool IsConsole(HANDLE input) {
  DWORD mode = 0;
  return ::GetConsoleMode(input, &mode) != FALSE;
}

std::size_t ReadSilently(HANDLE input, std::span<char> buffer) {
  const EchoOff echo{input};
  std::cerr << "SKey (not shown): " << std::flush;
  SecretBuffer<wchar_t, 256> block;
  std::size_t length = 0;
  // To the end of the line, so that no rest of it reaches the next program on this console.
  for (bool ended = false; !ended;) {
    const std::size_t count = ReadBlock(input, block);
    for (std::size_t i = 0; i < count; ++i) {
      const wchar_t unit = block.Data()[i];
      if (length < buffer.size()) buffer[length++] = unit < 0x80 ? static_cast<char>(unit) : '\xFF';
    }
    ended = count == 0 || block.Data()[count - 1] == L'\n';
  }
  std::cerr << '\n';
  return length;
}

}  // namespace FilterSetup
