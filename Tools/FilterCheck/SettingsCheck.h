#pragma once

#include <span>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Examines the settings, the providers and the decisions of the machine as they are. Writes nothing: no
/// value, no folder, no line of the log. Throws `Tools::ToolError`.
Situation Examine();

/// Examines the machine as it would be with these settings in the local key, or in the policy key where that
/// has the setting already. Redirects the process to a private copy of both keys meanwhile, and does not
/// write to the real ones. Throws `Tools::ToolError`, and `Tools::UsageError` for a value that does not fit
/// the setting's kind.
Situation ExamineWhatIf(std::span<const WhatIfSetting> settings);

}  // namespace FilterCheck
