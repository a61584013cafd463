#pragma once

#include <array>

#include "FilterCheck/Model/Finding.h"
#include "FilterCheck/Model/Machine.h"

namespace FilterCheck {

/// Returns the findings about what the filter did, compared with the outcomes that the settings cause for
/// each kind of sign-in. Returns none if Windows does not load the filter.
Findings JudgeEvidence(const Evidence& evidence, bool loadable,
                       const std::array<Outcome, kSignIns.size()>& predicted);

}  // namespace FilterCheck
