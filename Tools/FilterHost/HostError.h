#pragma once

#include <cstdint>
#include <string>

#include "Common/ToolError.h"

namespace FilterHost {

/// The exit codes of the program; `--help` lists the same numbers.
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

/// An error with an exit code that only this program has.
class HostError : public Tools::ToolError {
 public:
  HostError(ExitCode code, const std::string& message) : ToolError(message), code_(code) {}

  ExitCode Code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

}  // namespace FilterHost
