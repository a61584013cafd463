#include "KuvAuth/Logging/LogRotation.h"

#include <windows.h>

#include "KuvAuth/Support/Text.h"

namespace {

std::uint64_t FileSize(const std::wstring& path) noexcept {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == FALSE) return 0;
  return (std::uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow;
}

// The names of the numbered files. The number precedes the last dot of the whole path, even if a folder name
// contains that dot.
class NumberedNames {
 public:
  explicit NumberedNames(const std::wstring& path) : stem_(path) {
    const std::size_t dot = path.rfind(L'.');
    if (dot == std::wstring::npos) return;
    extension_ = path.substr(dot);
    stem_.resize(dot);
  }

  std::wstring Name(std::uint64_t number) const {
    return FormatToString(L"%s%02d%s", stem_.c_str(), static_cast<int>(number), extension_.c_str());
  }

 private:
  std::wstring stem_;
  std::wstring extension_;
};

}  // namespace

// Writes its messages to the debugger, because files are rotated before the main log exists.
void RotateLogFile(const std::wstring& path, std::uint64_t maxSizeKB, std::uint64_t maxCount) {
  if (path.empty()) return;
  if (FileSize(path) < maxSizeKB << 10) return;

  const NumberedNames names{path};
  const std::wstring oldest = names.Name(maxCount);
  if (::DeleteFileW(oldest.c_str()) > 0) {
    ::OutputDebugStringW(L"Deleting logfile ");
    ::OutputDebugStringW(oldest.c_str());
    ::OutputDebugStringW(L"\r\n");
  }
  for (std::uint64_t number = maxCount; number >= 2; --number) {
    const std::wstring target = names.Name(number);
    const std::wstring source = names.Name(number - 1);
    if (::MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH) <= 0) continue;
    ::OutputDebugStringW(L"Rotating logfile ");
    ::OutputDebugStringW(source.c_str());
    ::OutputDebugStringW(L" -> ");
    ::OutputDebugStringW(target.c_str());
    ::OutputDebugStringW(L"\r\n");
  }
  ::MoveFileExW(path.c_str(), names.Name(1).c_str(), MOVEFILE_WRITE_THROUGH);
}
