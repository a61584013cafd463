#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace SignedRequest {

/// What the program ends with; `--help` tells the same numbers.
enum class ExitCode : std::uint8_t {
  Done = 0,
  Failed = 1,
  Usage = 2,
  NotConfigured = 3,
  NotSigned = 4,
  NotSent = 5,
  Refused = 6,
  OtherAnswer = 7,
};

/// Ends the run with a code and one line of UTF-8 text for the error output.
class ExampleError : public std::runtime_error {
 public:
  ExampleError(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

  ExitCode Code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

/// Throws the `ExampleError` of a command line that is not understood.
[[noreturn]] void ThrowUsage(const std::string& message);

/// Replaces what would move the cursor or, but for line feeds if `lines` is set, end the line, so that
/// foreign text stays in its place.
std::string Printable(std::string text, bool lines = false);

/// Gives the text in UTF-8 and quotes, for a message.
std::string Quoted(const std::wstring& text);

}  // namespace SignedRequest
