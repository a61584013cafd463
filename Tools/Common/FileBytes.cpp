#include "Common/FileBytes.h"

#include "Common/ErrorText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace Tools {

namespace {

[[noreturn]] void ThrowNotReadable(const std::wstring& path, DWORD code) {
  throw FileNotReadableError{"cannot read '" + WideToUtf8(path) + "': " + DescribeError(code)};
}

void SeekTo(HANDLE file, std::uint64_t start, const std::wstring& path) {
  LARGE_INTEGER size{};
  if (::GetFileSizeEx(file, &size) == FALSE) ThrowNotReadable(path, ::GetLastError());
  if (static_cast<std::uint64_t>(size.QuadPart) < start) return;
  LARGE_INTEGER distance{};
  distance.QuadPart = static_cast<LONGLONG>(start);
  if (::SetFilePointerEx(file, distance, /*lpNewFilePointer=*/nullptr, FILE_BEGIN) == FALSE) {
    ThrowNotReadable(path, ::GetLastError());
  }
}

}  // namespace

std::string ReadFileFrom(const std::wstring& path, std::uint64_t start) {
  const Kuv::UniqueFile file{
      ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    /*lpSecurityAttributes=*/nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                    /*hTemplateFile=*/nullptr)};
  if (!file) ThrowNotReadable(path, ::GetLastError());
  SeekTo(file.Get(), start, path);
  std::string bytes;
  char block[4096];
  for (DWORD count = 0;;) {
    if (::ReadFile(file.Get(), block, sizeof(block), &count, /*lpOverlapped=*/nullptr) == FALSE) {
      ThrowNotReadable(path, ::GetLastError());
    }
    if (count == 0) return bytes;
    bytes.append(block, count);
  }
}

}  // namespace Tools
