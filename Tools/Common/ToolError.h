#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

/// @file
/// Errors that end the run of a tool. The message is one line of UTF-8 text for standard error.

namespace Tools {

class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The command line is invalid.
class UsageError : public ToolError {
 public:
  using ToolError::ToolError;
};

/// A text is not a braced class identifier.
class MalformedIdentifierError : public ToolError {
 public:
  using ToolError::ToolError;
};

/// A file is missing or cannot be read.
class FileNotReadableError : public ToolError {
 public:
  FileNotReadableError(const std::string& message, std::uint32_t code) : ToolError(message), code_(code) {}

  /// Returns the Windows error code.
  std::uint32_t code() const noexcept { return code_; }

 private:
  std::uint32_t code_;
};

/// There are no credential providers.
class NoProvidersError : public ToolError {
 public:
  using ToolError::ToolError;
};

}  // namespace Tools
