#pragma once

#include <cstdint>
#include <string>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// The exit codes of the program; `--help` lists the same numbers.
enum class ExitCode : std::uint8_t {
  Fine = 0,
  Found = 1,       ///< a warning or a problem
  NotInForce = 2,  ///< the second factor is not required, the filter is not registered, or no one can sign in
  Failed = 3,      ///< wrong usage or an internal error
};

/// The conclusion about a situation, in one sentence of UTF-8 text.
struct Verdict {
  ExitCode code;
  std::string text;
};

/// Returns the verdict on a situation of the report.
Verdict Judge(const Report& report, const Situation& situation);

/// Returns the situation with the what-if settings or, without any, the current situation.
const Situation& Subject(const Report& report) noexcept;

/// Returns the findings about a situation and about the registration, the most severe first.
Findings AllFindings(const Report& report, const Situation& situation);

}  // namespace FilterCheck
