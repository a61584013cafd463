#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "SignedRequest/SignedRequest.h"

namespace KuvTest {

/// The result of one run of the program.
struct ExampleRun {
  int exitCode;
  std::string out;
  std::string err;
};

/// Runs the program within this process.
inline ExampleRun RunExample(const std::vector<std::wstring>& arguments) {
  std::ostringstream out;
  std::ostringstream err;
  const int exitCode = SignedRequest::RunSignedRequest(arguments, out, err);
  return {exitCode, out.str(), err.str()};
}

}  // namespace KuvTest
