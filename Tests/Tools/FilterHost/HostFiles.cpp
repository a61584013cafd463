#include "Tools/FilterHost/HostFiles.h"

#include <filesystem>

#include "Support/FilterModule.h"

namespace KuvTest {

std::wstring TestFolder::Write(const std::wstring& name, const std::string& bytes) const {
  std::wstring path = Path(name);
  std::filesystem::create_directories(std::filesystem::path{path}.parent_path());
  WriteFileBytes(path, bytes);
  return path;
}

std::wstring FilterHostPath() {
  return std::filesystem::path{FilterDllPath()}.replace_filename(L"KuvFilterHost.exe").wstring();
}

}  // namespace KuvTest
