#include "FilterHost/LogTail.h"

#include <windows.h>

#include <optional>
#include <sstream>
#include <utility>

#include "Common/FileBytes.h"

namespace FilterHost {

namespace {

// Returns nothing if the file does not exist.
std::optional<std::uint64_t> FileSize(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == FALSE) return std::nullopt;
  return (std::uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow;
}

}  // namespace

LogTail::LogTail(std::wstring path) : path_(std::move(path)), sizeBefore_(FileSize(path_).value_or(0)) {}

std::vector<std::string> LogTail::AddedLines() const {
  if (!FileSize(path_)) {
    const DWORD code = ::GetLastError();
    if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND) return {};
  }
  std::istringstream text{Tools::ReadFileFrom(path_, sizeBefore_)};
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    if (line.ends_with('\r')) line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

}  // namespace FilterHost
