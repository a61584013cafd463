#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Reads what the registry says of the filter in both views, of other filters, of the Kuv providers and of
/// the platform's own settings that bear on the outcome. Writes nothing. Throws `FilterHost::HostError`.
Registration ReadRegistration();

/// Gives what an administrator should know about it.
Findings JudgeRegistration(const Registration& registration);

/// Gives what an administrator should know about it only because of these settings and decisions.
Findings JudgeRegistration(const Registration& registration, const Situation& situation);

/// Tells whether the logon process loads the filter as it is entered in this view.
bool IsLoadable(const RegisteredFilter& filter) noexcept;

}  // namespace FilterCheck
