#pragma once

#include <cstdint>

#include "Common/ToolError.h"

namespace FilterSetup {

/// The exit codes of the program; `--help` lists the same numbers.
enum class ExitCode : std::uint8_t {
  Done = 0,        ///< everything is as requested
  Incomplete = 1,  ///< something could not be changed
  Refused = 2,     ///< the change would not be safe
  Failed = 3,      ///< wrong usage, no administrative rights, or an internal error
};

/// The request is refused because it would not be safe. Nothing was changed.
class RefusedError : public Tools::ToolError {
 public:
  using ToolError::ToolError;
};

}  // namespace FilterSetup
