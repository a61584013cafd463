#include "FilterSetup/Actions/LogFolder.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "Common/ErrorText.h"
#include "Common/LogPath.h"
#include "Common/PlainText.h"
#include "FilterSetup/Machine/Access.h"
#include "FilterSetup/Machine/Caller.h"
#include "FilterSetup/Machine/FolderObject.h"

namespace FilterSetup {

namespace {

// Another user can change what stands at the path between two steps.
constexpr int kAttempts = 5;
constexpr int kMostNames = 1000;

std::wstring FolderPath() {
  const std::wstring file = Tools::FilterLogPath();
  return file.substr(0, file.find_last_of(L'\\'));
}

[[noreturn]] void Throw(const char* what, DWORD code) {
  throw Tools::ToolError{what + Tools::DescribeError(code)};
}

std::wstring NameAside(const std::wstring& path, int number) {
  return path + L".old-" + std::to_wstring(number);
}

// Renames the open object, whatever its path is by now. Returns false if the new name exists.
bool Rename(const FolderObject& object, const std::wstring& target) {
  const std::size_t bytes = (target.size() + 1) * sizeof(wchar_t);
  std::vector<std::byte> buffer(sizeof(FILE_RENAME_INFO) + bytes);
  auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
  info->FileNameLength = static_cast<DWORD>(target.size() * sizeof(wchar_t));
  std::memcpy(info->FileName, target.c_str(), bytes);
  if (::SetFileInformationByHandle(object.handle.Get(), FileRenameInfo, info,
                                   static_cast<DWORD>(buffer.size())) != FALSE) {
    return true;
  }
  const DWORD code = ::GetLastError();
  if (code != ERROR_ALREADY_EXISTS && code != ERROR_FILE_EXISTS) {
    Throw("belongs to another user, or something in it does, and cannot be moved aside: ", code);
  }
  return false;
}

bool Exists(const std::wstring& path) {
  return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// One run on the log folder.
class FolderRun {
 public:
  FolderRun(std::wstring path, Changes& changes)
      : path_(std::move(path)), subject_(Tools::PlainText(path_)), changes_(changes) {}

  void Run() {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      if (Step()) return;
    }
    throw Tools::ToolError{"another process changes it; find out which one, then try again"};
  }

  const std::string& Subject() const noexcept { return subject_; }

 private:
  // Takes one step. Returns whether the folder is as required.
  bool Step() {
    const DWORD access = changes_.IsDryRun() ? 0 : WRITE_DAC | WRITE_OWNER;
    const std::optional<FolderObject> object = OpenFolderObject(path_, FILE_LIST_DIRECTORY | access);
    switch (StateOf(path_, object)) {
      case FolderState::Absent:
        return Create();
      case FolderState::ReparsePoint:
        throw Tools::ToolError{
            "is a junction or another reparse point, so nothing was changed; find out who created it and "
            "remove it, then try again"};
      case FolderState::Foreign:
        return MoveAside();
      case FolderState::Unprotected:
        return Protect(*object);
      case FolderState::Protected:
        break;
    }
    return true;
  }

  bool Create() {
    if (!changes_.IsDryRun()) {
      ProtectedDescriptor descriptor;
      SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), descriptor.Get(), /*bInheritHandle=*/FALSE};
      if (::CreateDirectoryW(path_.c_str(), &attributes) == FALSE) {
        const DWORD code = ::GetLastError();
        if (code == ERROR_ALREADY_EXISTS) return false;
        Throw("cannot be created: ", code);
      }
    }
    changes_.Add(subject_, "created for SYSTEM and Administrators only");
    return true;
  }

  // In a dry run, also reports the new folder. Otherwise the next step creates it.
  bool MoveAside() {
    if (changes_.IsDryRun()) {
      int number = 1;
      while (number < kMostNames && Exists(NameAside(path_, number))) ++number;
      AddMoved(number);
      return Create();
    }
    const std::optional<FolderObject> object = OpenFolderObject(path_, FILE_LIST_DIRECTORY | DELETE);
    if (StateOf(path_, object) != FolderState::Foreign) return false;
    for (int number = 1; number <= kMostNames; ++number) {
      if (!Rename(*object, NameAside(path_, number))) continue;
      AddMoved(number);
      return false;
    }
    throw Tools::ToolError{"cannot be moved aside: every name up to " +
                           Tools::PlainText(NameAside(path_, kMostNames)) + " exists"};
  }

  void AddMoved(int number) {
    changes_.Add(subject_, "moved to " + Tools::PlainText(NameAside(path_, number)) +
                               ", because it belongs to another user or contains something that does");
  }

  bool Protect(const FolderObject& object) {
    if (!changes_.IsDryRun()) {
      const ProtectedDescriptor descriptor;
      const DWORD status = ::SetSecurityInfo(
          object.handle.Get(), SE_FILE_OBJECT,
          OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
          descriptor.Owner(), /*psidGroup=*/nullptr, descriptor.Acl(), /*pSacl=*/nullptr);
      if (status != ERROR_SUCCESS) Throw("cannot be protected: ", status);
    }
    changes_.Add(subject_, "protected: owner Administrators, access for SYSTEM and Administrators only");
    // Another user could create something in it until now.
    return changes_.IsDryRun() ||
           StateOf(path_, OpenFolderObject(path_, FILE_LIST_DIRECTORY)) != FolderState::Foreign;
  }

  std::wstring path_;
  std::string subject_;
  Changes& changes_;
};

}  // namespace

void PrepareLogFolder(Changes& changes) {
  FolderRun run{FolderPath(), changes};
  try {
    run.Run();
  } catch (const Tools::ToolError& error) {
    changes.AddFailure(run.Subject(), error.what());
  }
}

bool IsLogFolderSafe() {
  const std::optional<FolderObject> object = OpenFolderObject(FolderPath(), /*access=*/0);
  if (!object) return true;
  return object->IsFolder() && !object->IsReparsePoint() &&
         (IsTrustedOwner(object->security.owner) || IsCaller(object->security.owner));
}

}  // namespace FilterSetup
