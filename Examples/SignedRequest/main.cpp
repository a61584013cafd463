#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <iostream>

#include "SignedRequest/SignedRequest.h"

int wmain(int argc, wchar_t** argv) {
  // Binary mode, so that a console, a pipe and a file get the same bytes.
  ::_setmode(::_fileno(stdout), _O_BINARY);
  ::_setmode(::_fileno(stderr), _O_BINARY);
  const UINT codePage = ::GetConsoleOutputCP();
  ::SetConsoleOutputCP(CP_UTF8);
  const int code = SignedRequest::RunSignedRequest({argv + 1, argv + argc}, std::cout, std::cerr);
  std::cout.flush();
  ::SetConsoleOutputCP(codePage);
  return code;
}
