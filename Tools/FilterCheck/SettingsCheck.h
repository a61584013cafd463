#pragma once

#include <span>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Examines the settings, providers and decisions of the machine in its current state; `Conclude` completes
/// the result. Does not write to the registry, the file system or the log. Throws `Tools::ToolError`.
Situation Examine();

/// Examines the machine with these settings in the policy key if that contains the setting, else in the local
/// key. Redirects the process to a private copy of both keys during the call and does not write to the real
/// keys. Throws `Tools::ToolError`, and `Tools::UsageError` for a value that is invalid for the kind of
/// setting.
Situation ExamineWhatIf(std::span<const WhatIfSetting> settings);

}  // namespace FilterCheck
