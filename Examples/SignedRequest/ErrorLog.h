#pragma once

#include <iosfwd>

namespace SignedRequest {

/// The log of the process for the lifetime of the object: writes warnings and errors of the library to a
/// stream. One object at a time.
class ErrorLog {
 public:
  explicit ErrorLog(std::ostream& err);
  ErrorLog(const ErrorLog&) = delete;
  ErrorLog& operator=(const ErrorLog&) = delete;
  ~ErrorLog();
};

}  // namespace SignedRequest
