#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Returns the verdict on a situation whose coverage and findings are complete.
Verdict Judge(const Report& report, const Situation& situation);

/// Completes a situation of the report: its coverage, the findings that do not depend on settings alone, all
/// sorted by severity, and the verdict. The other members of the report must be set.
void Conclude(const Report& report, Situation& situation);

}  // namespace FilterCheck
