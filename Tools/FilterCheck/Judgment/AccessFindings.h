#pragma once

#include "FilterCheck/Machine/AccessLists.h"
#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// Returns the findings about settings keys and folders that users without administrative rights can access,
/// or whose owner is unexpected. Read access to a key is a warning only if the key contains `SKey`.
Findings JudgeAccess(const AccessLists& access, const StoredKeys& keys);

}  // namespace FilterCheck
