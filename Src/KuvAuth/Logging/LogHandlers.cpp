#include "KuvAuth/Logging/LogHandlers.h"

#include <windows.h>

#include <cstring>

#include "KuvAuth/Logging/AsciiRun.h"
#include "KuvAuth/Logging/LogRotation.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace Kuv {

namespace {

void WriteBytes(HANDLE file, const char* bytes, std::size_t count) noexcept {
  DWORD written = 0;
  ::WriteFile(file, bytes, static_cast<DWORD>(count), &written, /*lpOverlapped=*/nullptr);
}

}  // namespace

void DebugLogger::LogWrite(LogLevel, const wchar_t* text) {
  if (text != nullptr) ::OutputDebugStringW(text);
}

void DebugLogger::LogWrite(LogLevel, const char* text) {
  if (text != nullptr) ::OutputDebugStringA(text);
}

void DebugLogger::Flush() {}

void FileLogger::LogWrite(LogLevel, const wchar_t* text) {
  if (text == nullptr || file == INVALID_HANDLE_VALUE) return;
  const int converted = WideToUtf8Buffer(scratch, sizeof(scratch), text);
  if (converted == 0 || scratch[0] == '\0') return;
  WriteBytes(file, scratch, static_cast<std::size_t>(converted) - 1);
}

void FileLogger::LogWrite(LogLevel, const char* text) {
  if (text == nullptr || file == INVALID_HANDLE_VALUE) return;
  const std::size_t length = std::strlen(text);
  if (length != 0) WriteBytes(file, text, length);
}

void FileLogger::Flush() {
  if (file != INVALID_HANDLE_VALUE) ::FlushFileBuffers(file);
}

FileLogger::~FileLogger() {
  if (file == INVALID_HANDLE_VALUE) return;
  ::FlushFileBuffers(file);
  ::CloseHandle(file);
}

std::unique_ptr<FileLogger> OpenFileLogger(const std::wstring& path, std::uint64_t maxSizeKB,
                                           std::uint64_t maxCount) {
  if (path.empty()) return nullptr;
  if (maxSizeKB > 0 && maxCount != 0) RotateLogFile(path, maxSizeKB, maxCount);
  UniqueFile file{::CreateFileW(path.c_str(), FILE_APPEND_DATA,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                /*lpSecurityAttributes=*/nullptr, OPEN_ALWAYS,
                                FILE_FLAG_WRITE_THROUGH | FILE_ATTRIBUTE_NORMAL, /*hTemplateFile=*/nullptr)};
  if (!file) return nullptr;
  auto logger = std::make_unique<FileLogger>(file.Get());
  file.Release();
  return logger;
}

}  // namespace Kuv

int WideToUtf8Buffer(char* destination, int capacity, const wchar_t* text) noexcept {
  if (destination == nullptr || capacity <= 0 || text == nullptr) return 0;
  // Only ASCII text needs no more bytes than units, so copying it is the whole conversion.
  const auto bytes = static_cast<std::size_t>(capacity);
  const std::size_t copied = Kuv::CopyAsciiRun(destination, text, bytes);
  if (copied == bytes) {
    destination[bytes - 1] = '\0';
    return capacity;
  }
  if (text[copied] != L'\0') return 0;
  destination[copied] = '\0';
  return static_cast<int>(copied) + 1;
}
