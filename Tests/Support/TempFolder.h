#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace KuvTest {

/// A new, empty folder in the platform's folder for temporary files, removed with its contents at the
/// end. The constructor throws `std::runtime_error` if it cannot be created.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  /// Returns the path of the folder, without a backslash at its end.
  const std::wstring& Path() const { return path_; }
  std::wstring Path(std::wstring_view name) const;
  /// Returns the names of the files and folders in it, sorted.
  std::vector<std::wstring> Names() const;

 private:
  std::wstring path_;
};

/// Creates or overwrites a file. Throws `std::runtime_error` if it fails.
void WriteFileBytes(const std::wstring& path, std::string_view bytes);

/// Reads a whole file, even if another handle appends to it. Throws `std::runtime_error` if the file is
/// missing.
std::string ReadFileBytes(const std::wstring& path);

}  // namespace KuvTest
