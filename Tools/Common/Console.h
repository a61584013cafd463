#pragma once

#include <windows.h>

namespace Tools {

/// Sets the console of this process to UTF-8 and switches standard output and standard error to binary mode,
/// so that a console, a pipe and a file receive the same bytes. Restores the console on destruction. Create
/// only one object at a time.
class Console {
 public:
  Console();
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Enables escape sequences for colors. Returns false if standard output is not a console or the console
  /// does not support them.
  bool EnableColors();

 private:
  UINT codePage_ = ::GetConsoleOutputCP();
  HANDLE output_ = ::GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode_ = 0;
  bool colors_ = false;
};

}  // namespace Tools
