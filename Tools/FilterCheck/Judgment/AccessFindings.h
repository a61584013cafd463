#pragma once

#include "FilterCheck/Machine/AccessLists.h"
#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// Returns the findings about keys and a log folder that ordinary users may use or take over. Read access to
/// a key matters only if it has an `SKey`.
Findings JudgeAccess(const AccessLists& access, const StoredKeys& keys);

}  // namespace FilterCheck
