#pragma once

/// @file
/// Detection of Remote Desktop sessions.

namespace Kuv::Util {

/// Returns whether this process runs in a Remote Desktop session: the metric `SM_REMOTESESSION` is set, or
/// the session of this process is not the console session that the registry value `GlassSessionId` names.
/// Returns false if that value or the session of this process is unavailable. Reads the registry at each
/// call. Thread-safe.
bool IsRemoteSession();

}  // namespace Kuv::Util
