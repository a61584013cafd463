#pragma once

#include <string>

#include "Support/TempFolder.h"

namespace KuvTest {

class TestFolder : public TempFolder {
 public:
  /// Writes a file, creates folders as needed, and returns its path.
  std::wstring Write(const std::wstring& name, const std::string& bytes) const;
};

/// Return the paths of the built DLL and program.
std::wstring FilterDllPath();
std::wstring FilterHostPath();

}  // namespace KuvTest
