#pragma once

#include <string>

#include "Support/TempFolder.h"

namespace KuvTest {

class TestFolder : public TempFolder {
 public:
  /// Writes a file, creates folders as needed, and returns its path.
  std::wstring Write(const std::wstring& name, const std::string& bytes) const;
};

/// Returns the path of the built program, which is in the folder of this program.
std::wstring FilterHostPath();

}  // namespace KuvTest
