#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace FilterHost {

/// What the program ends with; `--help` tells the same numbers.
enum class ExitCode : std::uint8_t {
  Answered = 0,
  Failed = 1,
  Usage = 2,
  MalformedIdentifier = 3,
  FileNotReadable = 4,
  NoProviders = 5,
  NotRegistered = 6,
  NotLoadable = 7,
  NoClassObject = 8,
  NotCreated = 9,
};

/// Ends the run with a code and one line of UTF-8 text for the error output.
class HostError : public std::runtime_error {
 public:
  HostError(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

  ExitCode Code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

/// Gives the platform's reason for an error code, and the code: "Access denied. (error 5)". A failing
/// HRESULT is told in hexadecimal.
std::string DescribeError(std::uint32_t code);

/// Gives an HRESULT as "0x80004001".
std::string HresultText(std::int32_t result);

/// Replaces what would move the cursor or end the line, so that foreign text stays in its place.
std::string Printable(std::string text);

}  // namespace FilterHost
