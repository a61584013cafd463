#pragma once

#include <windows.h>

#include <string>
#include <vector>

/// @file
/// The owners and access control lists of the settings keys, the log folder and the folders of the filter.

namespace FilterCheck {

/// An access control entry that applies to the object itself.
struct AccessEntry {
  bool denies;
  std::wstring account;  ///< the security identifier as text, for example "S-1-1-0"
  DWORD mask;            ///< generic rights are mapped to those of the object
};

/// The owner and access control list of a key or folder. All members are empty if it does not exist.
struct AccessList {
  std::wstring owner;      ///< as `AccessEntry::account`; empty if there is none
  bool isMissing = false;  ///< the object has no access control list, so everyone has full access
  std::vector<AccessEntry> entries;
  std::string unreadable;  ///< why the owner and list cannot be read; empty if they were read
};

/// A folder; `list` is empty if it does not exist.
struct FolderAccess {
  std::string path;
  bool isReparsePoint;  ///< for example a junction: the contents are in another folder
  AccessList list;
};

struct AccessLists {
  AccessList policyKey;
  AccessList localKey;
  FolderAccess logFolder;
  std::wstring administrator;               ///< the user that runs this program, if elevated; else empty
  std::vector<FolderAccess> moduleFolders;  ///< of the registered modules of the filter, each folder once
};

/// Reads the access control lists; `unreadable` reports each that this user cannot read. Throws
/// `Tools::ToolError` if the path of the log folder is unavailable or the registration cannot be read.
AccessLists ReadAccessLists();

}  // namespace FilterCheck
