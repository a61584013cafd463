#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <iostream>

#include "FilterCheck/FilterCheck.h"
#include "FilterCheck/Judgment/Verdict.h"

namespace {

constexpr DWORD kUnderstandsColors = 0x4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING, which not every SDK has

// Lets a console that can show colours do so, and gives back its mode at the end.
class ColorConsole {
 public:
  ColorConsole() {
    if (::GetConsoleMode(output_, &mode_) == FALSE) return;
    ready_ = ::SetConsoleMode(output_, mode_ | kUnderstandsColors) != FALSE;
  }
  ~ColorConsole() {
    if (ready_) ::SetConsoleMode(output_, mode_);
  }
  ColorConsole(const ColorConsole&) = delete;
  ColorConsole& operator=(const ColorConsole&) = delete;

  bool IsReady() const noexcept { return ready_; }

 private:
  HANDLE output_ = ::GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode_ = 0;
  bool ready_ = false;
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
  // The same bytes to a console, a pipe and a file.
  ::_setmode(::_fileno(stdout), _O_BINARY);
  ::_setmode(::_fileno(stderr), _O_BINARY);
  const UINT codePage = ::GetConsoleOutputCP();
  ::SetConsoleOutputCP(CP_UTF8);
  int code = 0;
  {
    const ColorConsole console;
    code = FilterCheck::RunFilterCheck({argv + 1, argv + argc}, std::cout, std::cerr, console.IsReady());
    std::cout.flush();
    // A disk that is full, for example: half an answer is none.
    if (!std::cout) {
      std::cerr << "KuvFilterCheck: cannot write the output\n";
      code = static_cast<int>(FilterCheck::ExitCode::Failed);
    }
  }
  ::SetConsoleOutputCP(codePage);
  return code;
}
