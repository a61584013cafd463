#pragma once

#include "FilterCheck/Report.h"

namespace FilterCheck {

/// Reads what the registry says of the filter in both views, of other filters, of the Kuv providers and of
/// the platform's own settings that bear on the outcome. Writes nothing. Throws `FilterHost::HostError`.
Registration ReadRegistration();

/// Gives what an administrator should know about it.
Findings JudgeRegistration(const Registration& registration);

}  // namespace FilterCheck
