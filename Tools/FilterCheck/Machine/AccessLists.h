#pragma once

#include <windows.h>

#include <string>
#include <vector>

/// @file
/// Who may use the settings keys and the log folder, as the platform stores it.

namespace FilterCheck {

/// An entry of an access list that allows or denies access to the object itself.
struct AccessEntry {
  bool denies;
  std::wstring account;  ///< the security identifier as text, "S-1-1-0" for example
  DWORD mask;            ///< generic rights are mapped to those of the object
};

/// Owner and access list of a key or folder. All members are empty for one that does not exist.
struct AccessList {
  std::wstring owner;      ///< as `AccessEntry::account`; empty if there is none
  bool isMissing = false;  ///< the object has no access list, which denies nothing to anyone
  std::vector<AccessEntry> entries;
  std::string unreadable;  ///< why owner and list cannot be read; empty if they were
};

struct AccessLists {
  AccessList policyKey;
  AccessList localKey;
  AccessList logFolder;
  std::string logFolderPath;
};

/// Reads the access lists, as far as this user may. Throws `Tools::ToolError` if the log has no place.
AccessLists ReadAccessLists();

}  // namespace FilterCheck
