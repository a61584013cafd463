#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"

namespace KuvTest {

/// Replaces the calls of a rotation and records those that would change a file; they fail.
class RecordedFileCalls {
 public:
  RecordedFileCalls() {
    attributes_.Answer([this](const wchar_t*, GET_FILEEX_INFO_LEVELS level, void* data) {
      EXPECT_EQ(level, GetFileExInfoStandard);
      auto* const file = static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data);
      file->nFileSizeHigh = static_cast<DWORD>(size >> 32);
      file->nFileSizeLow = static_cast<DWORD>(size);
      return found;
    });
    delete_.Answer([this](const wchar_t* name) {
      calls.push_back(std::wstring{L"delete "} + name);
      return FALSE;
    });
    move_.Answer([this](const wchar_t* from, const wchar_t* to, DWORD flags) {
      calls.push_back(std::wstring{from} + L" -> " + to + L" " + std::to_wstring(flags));
      return FALSE;
    });
  }

  std::size_t SizeQueries() const { return attributes_.CallCount(); }

  std::uint64_t size = 2048;  ///< of the live file, in bytes
  BOOL found = TRUE;
  std::vector<std::wstring> calls;

 private:
  KuvTest::ImportHook<decltype(&::GetFileAttributesExW)> attributes_{"GetFileAttributesExW"};
  KuvTest::ImportHook<decltype(&::DeleteFileW)> delete_{"DeleteFileW"};
  KuvTest::ImportHook<decltype(&::MoveFileExW)> move_{"MoveFileExW"};
};

}  // namespace KuvTest
