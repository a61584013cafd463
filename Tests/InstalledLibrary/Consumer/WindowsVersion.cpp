// Prints the version that Windows reports to this program.
#include <windows.h>

#include <iostream>

int main() {
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
#if defined(_MSC_VER)
#pragma warning(suppress : 4996)
#endif
  ::GetVersionExW(&version);
  std::cout << version.dwMajorVersion << '.' << version.dwMinorVersion << '\n';
}
