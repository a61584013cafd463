#pragma once

#include <windows.h>
#include <aclapi.h>

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace KuvTest {

// The access lists of the log folder as the security descriptor language writes them.
inline constexpr wchar_t kProtectedFolder[] = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
inline constexpr wchar_t kUsersFolder[] =
    L"O:S-1-5-21-1-2-3-1001D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;S-1-5-21-1-2-3-1001)";

/// The result of a run of the program.
struct SetupRun {
  int exitCode;
  std::string out;
  std::string err;
};

/// Runs the program in this process.
SetupRun RunSetup(const std::vector<std::wstring>& arguments);

/// A machine on which files have owners and access lists, which Wine does not store. Each file or folder has
/// a protected one, unless a test or the program gives it another.
class SetupFixture : public SettingsFixture {
 protected:
  SetupFixture();

  /// Returns the path of the log folder or of a file in it, or of what was moved aside.
  std::wstring Folder() const { return appData.Path(L"Kuvant"); }
  std::wstring InFolder(const std::wstring& name) const { return Folder() + L"\\" + name; }
  std::wstring Aside(int number) const { return Folder() + L".old-" + std::to_wstring(number); }

  /// Creates the log folder with an access list and an owner.
  void MakeFolder(const std::wstring& sddl);

  /// Returns the path as the program shows it.
  static std::string Shown(const std::wstring& path);

  /// The descriptors by path.
  std::map<std::wstring, std::wstring> sddl;
  /// The descriptors that the program gave to a new folder, and to an existing one.
  std::vector<std::wstring> created;
  std::vector<std::wstring> replaced;

  ImportHook<decltype(&::GetSecurityInfo)> getSecurity;
  ImportHook<decltype(&::SetSecurityInfo)> setSecurity;
  ImportHook<decltype(&::CreateDirectoryW)> createDirectory;
};

/// Returns the descriptor of the library for administrators only, with Administrators as the owner, in the
/// form of the members of `SetupFixture`.
std::wstring AdministratorsOnly();

/// Returns the path of an open file or folder.
std::wstring PathOf(HANDLE object);

}  // namespace KuvTest
