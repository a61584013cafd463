#pragma once

#include "FilterSetup/Model/Changes.h"

namespace FilterSetup {

/// Restricts the log folder to SYSTEM and Administrators, with Administrators as the owner: creates
/// it, protects an existing one, or moves a foreign one aside and creates a new one. Changes nothing at a
/// reparse point. Adds each change and a failure to `changes`. Throws `Tools::ToolError` if the path of the
/// folder is unavailable.
void PrepareLogFolder(Changes& changes);

/// Returns whether this process can write the log without following a path that another user made: the folder
/// is absent, or is a folder, not a reparse point, of a trusted owner or of the user of this process.
bool IsLogFolderSafe();

}  // namespace FilterSetup
