#pragma once

/// @file
/// The kind of session that this process runs in.

namespace Kuv::Util {

/// Answers whether this process runs in a remote desktop session: the metric `SM_REMOTESESSION` is
/// set, or the session of this process is not the one that the terminal server names in
/// `GlassSessionId`. A machine that cannot tell counts as local. Reads the registry at each call. Any thread
/// may call.
bool IsRemoteSession();

}  // namespace Kuv::Util
