#include "Common/Console.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <iostream>

namespace Tools {

namespace {

constexpr DWORD kUnderstandsColors = 0x4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING, which not every SDK has

}  // namespace

Console::Console() {
  ::_setmode(::_fileno(stdout), _O_BINARY);
  ::_setmode(::_fileno(stderr), _O_BINARY);
  ::SetConsoleOutputCP(CP_UTF8);
}

Console::~Console() {
  // Buffered text is written first, because the console interprets it by the current code page.
  std::cout.flush();
  if (colors_) ::SetConsoleMode(output_, mode_);
  ::SetConsoleOutputCP(codePage_);
}

bool Console::EnableColors() {
  if (colors_) return true;
  if (::GetConsoleMode(output_, &mode_) == FALSE) return false;
  colors_ = ::SetConsoleMode(output_, mode_ | kUnderstandsColors) != FALSE;
  return colors_;
}

}  // namespace Tools
