#include "Common/FileBytes.h"

#include <algorithm>

#include "Common/ErrorText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace Tools {

namespace {

// A file that is open for reading.
class InputFile {
 public:
  explicit InputFile(const std::wstring& path)
      : path_(path),
        file_(::CreateFileW(path.c_str(), GENERIC_READ,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            /*lpSecurityAttributes=*/nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                            /*hTemplateFile=*/nullptr)) {
    Require(static_cast<bool>(file_));
  }

  std::uint64_t Size() const {
    LARGE_INTEGER size{};
    Require(::GetFileSizeEx(file_.Get(), &size) != FALSE);
    return static_cast<std::uint64_t>(size.QuadPart);
  }

  // Reads from an offset to the end of the file, but no more than `mostBytes`.
  std::string Read(std::uint64_t start, std::uint64_t mostBytes) const {
    LARGE_INTEGER distance{};
    distance.QuadPart = static_cast<LONGLONG>(start);
    Require(::SetFilePointerEx(file_.Get(), distance, /*lpNewFilePointer=*/nullptr, FILE_BEGIN) != FALSE);
    std::string bytes;
    char block[4096];
    for (DWORD count = 1; count != 0 && bytes.size() < mostBytes; bytes.append(block, count)) {
      const auto wanted =
          static_cast<DWORD>(std::min<std::uint64_t>(sizeof(block), mostBytes - bytes.size()));
      Require(::ReadFile(file_.Get(), block, wanted, &count, /*lpOverlapped=*/nullptr) != FALSE);
    }
    return bytes;
  }

 private:
  void Require(bool success) const {
    if (success) return;
    const DWORD code = ::GetLastError();
    throw FileNotReadableError{"cannot read '" + WideToUtf8(path_) + "': " + DescribeError(code), code};
  }

  const std::wstring& path_;
  Kuv::UniqueFile file_;
};

}  // namespace

std::string ReadFileFrom(const std::wstring& path, std::uint64_t start) {
  const InputFile file{path};
  return file.Read(file.Size() < start ? 0 : start, UINT64_MAX);
}

std::string ReadFileEnd(const std::wstring& path, std::size_t mostBytes) {
  const InputFile file{path};
  const std::uint64_t size = file.Size();
  return file.Read(size - std::min<std::uint64_t>(size, mostBytes), mostBytes);
}

}  // namespace Tools
