#include "Tools/FilterHost/HostFiles.h"

#include <windows.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace KuvTest {

namespace {

std::wstring BesideThisProgram(const std::wstring& path) {
  wchar_t program[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  return (std::filesystem::path{program}.parent_path() / path).lexically_normal().make_preferred().wstring();
}

}  // namespace

TestFolder::TestFolder() {
  static std::atomic<int> number{0};
  const std::wstring name =
      L"KuvTests." + std::to_wstring(::GetCurrentProcessId()) + L"." + std::to_wstring(++number);
  path_ = (std::filesystem::temp_directory_path() / name).wstring();
  std::filesystem::create_directories(path_);
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::wstring TestFolder::Write(const std::wstring& name, const std::string& bytes) const {
  const std::filesystem::path path = std::filesystem::path{path_} / name;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file{path, std::ios::binary};
  file << bytes;
  if (!file.flush()) throw std::runtime_error{"cannot write " + path.string()};
  return path.wstring();
}

std::string ReadBytes(const std::wstring& path) {
  std::ifstream file{std::filesystem::path{path}, std::ios::binary};
  if (!file) throw std::runtime_error{"cannot read " + std::filesystem::path{path}.string()};
  return {std::istreambuf_iterator<char>{file}, {}};
}

std::wstring FilterDllPath() {
  return BesideThisProgram(KUV_FILTER_DLL);
}

std::wstring FilterHostPath() {
  return BesideThisProgram(KUV_FILTER_HOST);
}

}  // namespace KuvTest
