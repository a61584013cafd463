#pragma once

#include <stdexcept>

/// @file
/// What ends the run of a tool. The message is one line of UTF-8 text for standard error.

namespace Tools {

class ToolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The command line is wrong.
class UsageError : public ToolError {
 public:
  using ToolError::ToolError;
};

/// A text that must be a braced class identifier is not one.
class MalformedIdentifierError : public ToolError {
 public:
  using ToolError::ToolError;
};

/// A file is missing or cannot be read.
class FileNotReadableError : public ToolError {
 public:
  using ToolError::ToolError;
};

/// There is no credential provider to ask about.
class NoProvidersError : public ToolError {
 public:
  using ToolError::ToolError;
};

}  // namespace Tools
