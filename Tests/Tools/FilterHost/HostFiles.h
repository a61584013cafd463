#pragma once

#include <string>

namespace KuvTest {

/// A folder of a test's own, removed with all in it at the end.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  const std::wstring& Path() const { return path_; }

  /// Writes a file, folders below this one included, and gives its path.
  std::wstring Write(const std::wstring& name, const std::string& bytes) const;

 private:
  std::wstring path_;
};

/// Gives the bytes of a file. Throws `std::runtime_error`.
std::string ReadBytes(const std::wstring& path);

/// The built DLL and program.
std::wstring FilterDllPath();
std::wstring FilterHostPath();

}  // namespace KuvTest
