#include "Support/TempFolder.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "KuvAuth/Support/UniqueResource.h"

namespace KuvTest {

namespace {

struct FoundEntry {
  std::wstring name;
  bool isFolder;
};

std::vector<FoundEntry> List(const std::wstring& folder) {
  std::vector<FoundEntry> entries;
  WIN32_FIND_DATAW data{};
  const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &data);
  if (search == INVALID_HANDLE_VALUE) return entries;
  do {
    const std::wstring name = data.cFileName;
    if (name != L"." && name != L"..") {
      entries.push_back({name, (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    }
  } while (::FindNextFileW(search, &data) != FALSE);
  ::FindClose(search);
  return entries;
}

void RemoveFolder(const std::wstring& folder) {
  for (const FoundEntry& entry : List(folder)) {
    const std::wstring path = folder + L"\\" + entry.name;
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    if (entry.isFolder) {
      RemoveFolder(path);
    } else {
      ::DeleteFileW(path.c_str());
    }
  }
  ::RemoveDirectoryW(folder.c_str());
}

Kuv::UniqueFile Open(const std::wstring& path, DWORD access, DWORD disposition) {
  Kuv::UniqueFile file{::CreateFileW(path.c_str(), access,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                     disposition, FILE_ATTRIBUTE_NORMAL, nullptr)};
  if (!file) throw std::runtime_error{"a file of the test cannot be opened"};
  return file;
}

}  // namespace

TempFolder::TempFolder() {
  static std::atomic<int> number{0};
  wchar_t temp[MAX_PATH + 1] = {};
  if (::GetTempPathW(MAX_PATH + 1, temp) == 0) throw std::runtime_error{"no folder for temporary files"};
  const std::wstring stem =
      std::wstring{temp} + L"KuvTests-" + std::to_wstring(::GetCurrentProcessId()) + L"-";
  // A crashed process with the same identifier may have left its folder.
  do {
    path_ = stem + std::to_wstring(++number);
    if (::CreateDirectoryW(path_.c_str(), nullptr) != FALSE) return;
  } while (::GetLastError() == ERROR_ALREADY_EXISTS);
  throw std::runtime_error{"a temporary folder cannot be created"};
}

TempFolder::~TempFolder() {
  RemoveFolder(path_);
}

std::wstring TempFolder::Path(std::wstring_view name) const {
  return path_ + L"\\" + std::wstring{name};
}

std::vector<std::wstring> TempFolder::Names() const {
  std::vector<std::wstring> names;
  for (const FoundEntry& entry : List(path_)) names.push_back(entry.name);
  std::sort(names.begin(), names.end());
  return names;
}

void WriteFileBytes(const std::wstring& path, std::string_view bytes) {
  const Kuv::UniqueFile file = Open(path, GENERIC_WRITE, CREATE_ALWAYS);
  DWORD written = 0;
  if (::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == FALSE) {
    throw std::runtime_error{"a file of the test cannot be written"};
  }
}

std::string ReadFileBytes(const std::wstring& path) {
  const Kuv::UniqueFile file = Open(path, GENERIC_READ, OPEN_EXISTING);
  std::string bytes;
  char block[65536];
  DWORD count = 0;
  while (::ReadFile(file.Get(), block, sizeof(block), &count, nullptr) != FALSE && count != 0) {
    bytes.append(block, count);
  }
  return bytes;
}

}  // namespace KuvTest
