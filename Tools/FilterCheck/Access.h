#pragma once

#include <optional>

#include "FilterCheck/StoredKeys.h"

namespace FilterCheck {

/// What ordinary users may do with a key or folder, and who of them, as groups are named.
struct OrdinaryAccess {
  bool mayRead = false;
  bool mayWrite = false;
  std::string who;
};

/// The access lists of both keys and of the log folder. What is not there is open to nobody.
struct Access {
  OrdinaryAccess policyKey;
  OrdinaryAccess localKey;
  OrdinaryAccess logFolder;
  std::string logFolderPath;
};

/// Reads them. Throws `FilterHost::HostError`.
Access ReadAccess();

/// Gives what is open to others and ought not to be. A key that may be read matters for the `SKey` in it.
Findings JudgeAccess(const Access& access, const StoredKeys& keys);

}  // namespace FilterCheck
