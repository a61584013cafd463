#pragma once

#include <windows.h>

namespace Tools {

/// Sets the console of this process to UTF-8, and lets standard output and standard error write the same
/// bytes to a console, a pipe and a file. Restores the console on destruction. One object at a time.
class Console {
 public:
  Console();
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Enables the colors of escape sequences. Returns false if standard output is not a
  /// console, or one that cannot.
  bool EnableColors();

 private:
  UINT codePage_ = ::GetConsoleOutputCP();
  HANDLE output_ = ::GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode_ = 0;
  bool colors_ = false;
};

}  // namespace Tools
