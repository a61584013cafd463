#pragma once

#include <string>

namespace KuvTest {

/// A temporary folder for one test, deleted with its contents at the end.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::wstring& Path() const { return path_; }

  /// Writes a file, creates folders as needed, and returns its path.
  std::wstring Write(const std::wstring& name, const std::string& bytes) const;

 private:
  std::wstring path_;
};

/// Returns the bytes of a file. Throws `std::runtime_error`.
std::string ReadBytes(const std::wstring& path);

/// Return the paths of the built DLL and program.
std::wstring FilterDllPath();
std::wstring FilterHostPath();

}  // namespace KuvTest
