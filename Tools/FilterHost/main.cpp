#include <iostream>

#include "Common/Console.h"
#include "FilterHost/FilterHost.h"

int wmain(int argc, wchar_t** argv) {
  const Tools::Console console;
  return FilterHost::RunFilterHost({argv + 1, argv + argc}, std::cout, std::cerr);
}
