#include "Tools/FilterHost/HostFiles.h"

#include <windows.h>

#include <filesystem>

namespace KuvTest {

namespace {

std::wstring BesideThisProgram(const std::wstring& path) {
  wchar_t program[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  return (std::filesystem::path{program}.parent_path() / path).lexically_normal().make_preferred().wstring();
}

}  // namespace

std::wstring TestFolder::Write(const std::wstring& name, const std::string& bytes) const {
  std::wstring path = Path(name);
  std::filesystem::create_directories(std::filesystem::path{path}.parent_path());
  WriteFileBytes(path, bytes);
  return path;
}

std::wstring FilterDllPath() {
  return BesideThisProgram(KUV_FILTER_DLL);
}

std::wstring FilterHostPath() {
  return BesideThisProgram(KUV_FILTER_HOST);
}

}  // namespace KuvTest
