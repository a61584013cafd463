#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Returns the findings about a registration that do not depend on any setting.
Findings JudgeRegistration(const Registration& registration);

/// Returns the findings about a registration that only arise from these settings and decisions.
Findings JudgeRegistration(const Registration& registration, const Situation& situation);

/// Returns true if the logon process loads the filter as it is registered in this view.
bool IsLoadable(const RegisteredFilter& filter) noexcept;

}  // namespace FilterCheck
