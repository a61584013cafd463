#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Returns the findings about a registration that do not depend on any setting.
Findings JudgeRegistration(const Registration& registration);

/// Returns the findings about a registration that depend on the settings and decisions.
Findings JudgeRegistration(const Registration& registration, const Situation& situation);

/// Returns whether the logon process can load the filter by its registration in this view.
bool IsLoadable(const RegisteredFilter& filter) noexcept;

}  // namespace FilterCheck
