#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <iostream>

#include "SignedRequest/ErrorLog.h"
#include "SignedRequest/SignedRequest.h"
#include <KuvAuth/Configuration/Configuration.h>

namespace {

Kuv::Signing::Result<Kuv::Signing::Credentials> LoadFromSettings() {
  Kuv::Signing::Result<Kuv::Signing::Credentials> credentials = Kuv::Signing::Credentials::FromSettings();
  // The record of the process has the fail mode, which is part of the User-Agent header.
  if (credentials) EnsureConfigurationLoaded();
  return credentials;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  // The library and Windows load DLLs by name. They must not come from the folder of the program.
  ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  // Binary mode, so that a console, a pipe and a file get the same bytes.
  ::_setmode(::_fileno(stdout), _O_BINARY);
  ::_setmode(::_fileno(stderr), _O_BINARY);
  const UINT codePage = ::GetConsoleOutputCP();
  ::SetConsoleOutputCP(CP_UTF8);
  const SignedRequest::ErrorLog log{std::cerr};
  const int code =
      SignedRequest::RunSignedRequest({argv + 1, argv + argc}, LoadFromSettings, std::cout, std::cerr);
  std::cout.flush();
  ::SetConsoleOutputCP(codePage);
  return code;
}
