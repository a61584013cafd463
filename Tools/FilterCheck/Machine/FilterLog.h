#pragma once

#include "FilterCheck/Model/Machine.h"

namespace FilterCheck {

/// Reads the end of the filter's log, at most 1 MB. Skips every line that is not in the form that the filter
/// writes. Other processes may have the log open for writing. Throws `Tools::ToolError` if the path of the
/// log is unavailable.
Evidence ReadEvidence();

}  // namespace FilterCheck
