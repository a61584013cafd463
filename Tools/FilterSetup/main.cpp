#include <iostream>

#include "Common/Console.h"
#include "FilterSetup/FilterSetup.h"
#include "FilterSetup/Model/SetupError.h"

int wmain(int argc, wchar_t** argv) {
  const Tools::Console console;
  const int code = FilterSetup::RunFilterSetup({argv + 1, argv + argc}, std::cout, std::cerr);
  // The output may be incomplete, for example because the disk is full.
  if (!std::cout.flush()) {
    std::cerr << "KuvFilterSetup: cannot write the output\n";
    return static_cast<int>(FilterSetup::ExitCode::Failed);
  }
  return code;
}
