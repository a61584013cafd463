#pragma once

#include <cstdint>
#include <string>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// What the program ends with; `--help` tells the same numbers.
enum class ExitCode : std::uint8_t {
  Fine = 0,
  Found = 1,       ///< a warning or a problem
  NotInForce = 2,  ///< the second factor is not in force, the filter is not registered, or nobody can log on
  Failed = 3,      ///< wrong usage or an internal error
};

/// A situation in one sentence.
struct Verdict {
  ExitCode code;
  std::string text;
};

Verdict Judge(const Report& report, const Situation& situation);

/// The situation that the run is about: the assumed one, if anything was assumed.
const Situation& Subject(const Report& report) noexcept;

/// The findings of a situation and of the registration, the gravest first.
Findings AllFindings(const Report& report, const Situation& situation);

}  // namespace FilterCheck
