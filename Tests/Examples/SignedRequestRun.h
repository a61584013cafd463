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

/// Returns the credentials of the tests.
inline Kuv::Signing::Result<Kuv::Signing::Credentials> SampleCredentials() {
  return Kuv::Signing::Credentials::FromValues(
      {.host = "auth.kuv.example",
       .integrationKey = "SAMPLECLIENTIDENTIFIER",
       .secretKey = Kuv::Signing::Secret{"sample-key-that-signs-nothing"}});
}

/// Runs the program within this process.
inline ExampleRun RunExample(const std::vector<std::wstring>& arguments,
                             const SignedRequest::LoadCredentials& load = SampleCredentials) {
  std::ostringstream out;
  std::ostringstream err;
  const int exitCode = SignedRequest::RunSignedRequest(arguments, load, out, err);
  return {exitCode, out.str(), err.str()};
}

}  // namespace KuvTest
