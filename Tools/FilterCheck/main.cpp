#include <iostream>

#include "Common/Console.h"
#include "FilterCheck/FilterCheck.h"
#include "FilterCheck/Model/Report.h"

int wmain(int argc, wchar_t** argv) {
  Tools::Console console;
  const int code =
      FilterCheck::RunFilterCheck({argv + 1, argv + argc}, std::cout, std::cerr, console.EnableColors());
  // The output may be incomplete, for example because the disk is full.
  if (!std::cout.flush()) {
    std::cerr << "KuvFilterCheck: cannot write the output\n";
    return static_cast<int>(FilterCheck::ExitCode::Failed);
  }
  return code;
}
