#include "FilterSetup/Machine/FolderObject.h"

#include <cstddef>

#include "Common/ErrorText.h"
#include "Common/ToolError.h"

namespace FilterSetup {

namespace {

constexpr GENERIC_MAPPING kMapping{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE,
                                   FILE_ALL_ACCESS};

[[noreturn]] void Throw(const char* what, DWORD code) {
  throw Tools::ToolError{what + Tools::DescribeError(code)};
}

bool IsAbsent(DWORD code) noexcept {
  return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
}

// A link or a second name lets its creator redirect what is written here.
bool IsForeignEntry(const std::wstring& path) {
  const std::optional<FolderObject> entry = OpenFolderObject(path, /*access=*/0);
  if (!entry) return false;
  return entry->IsReparsePoint() || !IsTrustedOwner(entry->security.owner) ||
         (!entry->IsFolder() && entry->links > 1);
}

// The names in one block of a listing.
bool HasForeignEntry(const std::wstring& folder, const std::byte* block) {
  for (;;) {
    const auto* const entry = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(block);
    const std::wstring name{entry->FileName, entry->FileNameLength / sizeof(wchar_t)};
    if (name != L"." && name != L".." && IsForeignEntry(std::wstring{folder}.append(L"\\").append(name)))
      return true;
    if (entry->NextEntryOffset == 0) return false;
    block += entry->NextEntryOffset;
  }
}

// Lists the open folder, whatever its path is by now.
bool HasForeignEntry(const std::wstring& path, HANDLE folder) {
  alignas(FILE_ID_BOTH_DIR_INFO) std::byte block[8192];
  FILE_INFO_BY_HANDLE_CLASS listing = FileIdBothDirectoryRestartInfo;
  while (::GetFileInformationByHandleEx(folder, listing, block, sizeof(block)) != FALSE) {
    if (HasForeignEntry(path, block)) return true;
    listing = FileIdBothDirectoryInfo;
  }
  const DWORD code = ::GetLastError();
  if (code != ERROR_NO_MORE_FILES) Throw("cannot list the folder: ", code);
  return false;
}

}  // namespace

std::optional<FolderObject> OpenFolderObject(const std::wstring& path, DWORD access) {
  FolderObject object;
  object.handle.Reset(::CreateFileW(path.c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES | access,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    /*lpSecurityAttributes=*/nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS,
                                    /*hTemplateFile=*/nullptr));
  if (!object.handle) {
    const DWORD code = ::GetLastError();
    if (IsAbsent(code)) return std::nullopt;
    Throw("cannot be opened: ", code);
  }
  BY_HANDLE_FILE_INFORMATION information{};
  if (::GetFileInformationByHandle(object.handle.Get(), &information) == FALSE) {
    Throw("cannot read the attributes: ", ::GetLastError());
  }
  object.attributes = information.dwFileAttributes;
  object.links = information.nNumberOfLinks;
  object.security = ReadSecurity(object.handle.Get(), SE_FILE_OBJECT);
  return object;
}

FolderState StateOf(const std::wstring& path, const std::optional<FolderObject>& object) {
  if (!object) return FolderState::Absent;
  if (object->IsReparsePoint()) return FolderState::ReparsePoint;
  if (!object->IsFolder() || !IsTrustedOwner(object->security.owner) ||
      HasForeignEntry(path, object->handle.Get())) {
    return FolderState::Foreign;
  }
  return IsProtected(object->security, kMapping, FILE_ALL_ACCESS) ? FolderState::Protected
                                                                  : FolderState::Unprotected;
}

}  // namespace FilterSetup
