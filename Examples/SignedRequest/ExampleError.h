#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace SignedRequest {

/// The exit codes of the program, which `--help` lists.
enum class ExitCode : std::uint8_t {
  Done = 0,
  Failed = 1,
  Usage = 2,
  NotConfigured = 3,
  NotSigned = 4,
  NotSent = 5,
  Refused = 6,
  OtherAnswer = 7,  ///< a status that is neither success nor 401
};

/// An error that ends the program with an exit code and one line of UTF-8 text on standard error.
class ExampleError : public std::runtime_error {
 public:
  ExampleError(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

  ExitCode Code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

/// Throws the `ExampleError` of an invalid command line.
[[noreturn]] void ThrowUsage(const std::string& message);

/// Replaces control characters by "?", except line feeds if `lines` is set, so that untrusted text cannot
/// move the cursor or end the line.
std::string Printable(std::string text, bool lines = false);

/// Returns the text in UTF-8 and in quotes, for a message.
std::string Quoted(const std::wstring& text);

}  // namespace SignedRequest
