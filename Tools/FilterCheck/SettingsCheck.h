#pragma once

#include <span>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Looks at the settings, the providers and the decisions of the machine as they are. Writes nothing: no
/// value, no folder, no line of the log. Throws `FilterHost::HostError`.
Situation Examine();

/// The same as it would be with the assumed values in the local key, or in the policy key where that holds
/// the setting already. The process sees a private copy of both keys meanwhile; the real ones are not
/// written. Throws `FilterHost::HostError`, also for a value that does not fit the setting's kind.
Situation ExamineWhatIf(std::span<const WhatIfSetting> assumptions);

}  // namespace FilterCheck
