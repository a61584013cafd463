#include "FilterSetup/Actions/SecretInput.h"

#include <algorithm>
#include <span>

#include "Common/CommandLine.h"
#include "Common/ErrorText.h"
#include "Common/ToolError.h"
#include "FilterSetup/Actions/SilentConsole.h"
#include "FilterSetup/Model/SetupError.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterSetup {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Reads until the end of the input or of the buffer. Returns the number of bytes, and the error code.
DWORD ReadBytes(HANDLE input, std::span<char> buffer, std::size_t& length) {
  length = 0;
  while (length < buffer.size()) {
    DWORD count = 0;
    if (::ReadFile(input, buffer.data() + length, static_cast<DWORD>(buffer.size() - length), &count,
                   /*lpOverlapped=*/nullptr) == FALSE) {
      const DWORD code = ::GetLastError();
      return code == ERROR_BROKEN_PIPE ? ERROR_SUCCESS : code;  // the end of a pipe
    }
    if (count == 0) break;
    length += count;
  }
  return ERROR_SUCCESS;
}

std::size_t ReadFromFile(const std::wstring& path, std::span<char> buffer) {
  const Kuv::UniqueFile file{::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                           /*lpSecurityAttributes=*/nullptr, OPEN_EXISTING,
                                           FILE_ATTRIBUTE_NORMAL, /*hTemplateFile=*/nullptr)};
  std::size_t length = 0;
  const DWORD code = file ? ReadBytes(file.Get(), buffer, length) : ::GetLastError();
  if (code == ERROR_SUCCESS) return length;
  throw Tools::FileNotReadableError{"cannot read " + Tools::Quoted(path) + ": " + Tools::DescribeError(code),
                                    code};
}

std::size_t ReadFromStandardInput(std::span<char> buffer) {
  const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
  if (IsConsole(input)) return ReadSilently(input, buffer);
  std::size_t length = 0;
  const DWORD code = ReadBytes(input, buffer, length);
  if (code == ERROR_SUCCESS) return length;
  throw Tools::ToolError{"cannot read standard input: " + Tools::DescribeError(code)};
}

std::string_view WithoutLineEnd(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  if (text.ends_with('\r')) text.remove_suffix(1);
  return text;
}

void Check(std::string_view text) {
  const char* reason = nullptr;
  if (text.empty()) {
    reason = "is empty";
  } else if (text.find('\0') != std::string_view::npos) {
    reason = "contains a NUL character; save the file as UTF-8 or ASCII";
  } else if (text.find_first_of("\r\n") != std::string_view::npos) {
    reason = "contains a line break";
  } else if (text.size() > kMostSecretCharacters) {
    reason = "is longer than 1,023 characters";
  } else if (std::any_of(text.begin(), text.end(), [](char c) { return c < '!' || c > '~'; })) {
    reason = "contains white space, or a character that is not printable ASCII";
  }
  if (reason != nullptr) throw RefusedError{std::string{"SKey was not written: the text "} + reason};
}

}  // namespace

void ReadSecret(const std::wstring& file, Secret& secret) {
  const std::span<char> buffer{secret.buffer_.Data(), secret.buffer_.Size()};
  const std::size_t length = file.empty() ? ReadFromStandardInput(buffer) : ReadFromFile(file, buffer);
  std::string_view text{buffer.data(), length};
  secret.start_ = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  text = WithoutLineEnd(text.substr(secret.start_));
  Check(text);
  secret.length_ = text.size();
}

}  // namespace FilterSetup
