#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "FilterSetup/Machine/Access.h"
#include "KuvAuth/Support/UniqueResource.h"

/// @file
/// An open folder or file, never the target of a link at its place.

namespace FilterSetup {

/// What stands at the place of the log folder.
enum class FolderState : std::uint8_t {
  Absent,
  ReparsePoint,  ///< a junction, a symbolic link or another reparse point
  Foreign,       ///< a file, or a folder that is or contains an object of another user
  Unprotected,   ///< a folder of a trusted owner with another access list
  Protected,
};

/// An open file or folder.
struct FolderObject {
  Kuv::UniqueFile handle;
  DWORD attributes = 0;
  DWORD links = 0;  ///< the number of names of a file
  Security security;

  bool IsFolder() const noexcept { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }
  bool IsReparsePoint() const noexcept { return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; }
};

/// Opens the file or folder at the path, and a reparse point itself rather than its target, with rights to
/// read its access list and the rights of `access`. Returns nothing if there is none. Throws
/// `Tools::ToolError`.
std::optional<FolderObject> OpenFolderObject(const std::wstring& path, DWORD access);

/// Returns the state of the log folder. Reads the entries of a folder with a trusted owner, but not those of
/// its subfolders; such a folder must be open with `FILE_LIST_DIRECTORY`. Throws `Tools::ToolError`.
FolderState StateOf(const std::wstring& path, const std::optional<FolderObject>& object);

}  // namespace FilterSetup
