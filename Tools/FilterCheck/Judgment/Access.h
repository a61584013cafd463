#pragma once

#include <optional>

#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// What ordinary users may do with a key or folder, and who of them, as groups are named.
struct OrdinaryAccess {
  bool mayRead = false;
  bool mayWrite = false;
  std::string who;
  std::string owner;       ///< who owns it and ought not to, as an identifier; empty if nobody
  std::string unreadable;  ///< why nobody can tell; empty if the list was read
};

/// The access lists of both keys and of the log folder. What is not there is open to nobody.
struct Access {
  OrdinaryAccess policyKey;
  OrdinaryAccess localKey;
  OrdinaryAccess logFolder;
  std::string logFolderPath;
};

/// Reads them, as far as this user may. Throws `FilterHost::HostError` if the log has no place at all.
Access ReadAccess();

/// Gives what is open to others and ought not to be. A key that may be read matters for the `SKey` in it.
Findings JudgeAccess(const Access& access, const StoredKeys& keys);

}  // namespace FilterCheck
