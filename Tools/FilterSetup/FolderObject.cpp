#include "FilterSetup/FolderObject.h"

#include <string_view>

#include "Common/ErrorText.h"
#include "Common/ToolError.h"

namespace FilterSetup {

namespace {

struct SearchTraits {
  using Value = HANDLE;
  static Value None() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Value search) noexcept { ::FindClose(search); }
};
using UniqueSearch = Kuv::UniqueResource<SearchTraits>;

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

bool HasForeignEntry(const std::wstring& folder) {
  WIN32_FIND_DATAW data{};
  const UniqueSearch search{::FindFirstFileW((folder + L"\\*").c_str(), &data)};
  if (!search) {
    const DWORD code = ::GetLastError();
    if (IsAbsent(code)) return false;
    Throw("cannot list the folder: ", code);
  }
  do {
    const std::wstring_view name = data.cFileName;
    if (name != L"." && name != L".." && IsForeignEntry(folder + L"\\" + data.cFileName)) return true;
  } while (::FindNextFileW(search.Get(), &data) != FALSE);
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
  if (!object->IsFolder() || !IsTrustedOwner(object->security.owner) || HasForeignEntry(path)) {
    return FolderState::Foreign;
  }
  return IsProtected(object->security, kMapping, FILE_ALL_ACCESS) ? FolderState::Protected
                                                                  : FolderState::Unprotected;
}

}  // namespace FilterSetup
