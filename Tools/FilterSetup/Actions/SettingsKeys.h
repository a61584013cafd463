#pragma once

#include "FilterSetup/Model/Changes.h"

namespace FilterSetup {

/// Restricts the settings keys to SYSTEM and Administrators, with Administrators as the owner:
/// creates the local key, and protects both keys with `ProtectSettingsKeys` of the library. Does not create
/// the policy key. Adds each change and each failure to `changes`.
void PrepareSettingsKeys(Changes& changes);

}  // namespace FilterSetup
