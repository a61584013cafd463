#include "FilterCheck/Machine/FilterModule.h"

#include <cstring>
#include <cwchar>
#include <iterator>

#include "Common/FileBytes.h"
#include "Common/ToolError.h"
#include "FilterCheck/Machine/Architecture.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

constexpr wchar_t kFilterFile[] = L"KuvCredFilter.dll";

bool EqualsWithoutCase(std::wstring_view text, std::wstring_view other) noexcept {
  return text.size() == other.size() && ::_wcsnicmp(text.data(), other.data(), text.size()) == 0;
}

bool StartsWithoutCase(std::wstring_view text, std::wstring_view start) noexcept {
  return EqualsWithoutCase(text.substr(0, start.size()), start);
}

std::wstring Expanded(const std::wstring& text) {
  wchar_t expanded[1024] = {};
  const DWORD length =
      ::ExpandEnvironmentStringsW(text.c_str(), expanded, static_cast<DWORD>(std::size(expanded)));
  return length == 0 || length > std::size(expanded) ? text : std::wstring{expanded};
}

// Replaces variables whose values differ in 32-bit programs by the variables of 32-bit programs.
std::wstring WithVariablesOf32Bit(std::wstring text) {
  for (const std::wstring_view variable : {L"%ProgramFiles%", L"%CommonProgramFiles%"}) {
    if (StartsWithoutCase(text, variable)) return text.insert(variable.size() - 1, L"(x86)");
  }
  return text;
}

template <typename Get>
std::wstring Folder(const Get get) {
  wchar_t folder[MAX_PATH] = {};
  const UINT length = get(folder, MAX_PATH);
  return length == 0 || length >= MAX_PATH ? std::wstring{} : std::wstring{folder};
}

std::wstring SystemFolder(View view) {
  std::wstring native = Folder(::GetSystemDirectoryW);
  if (view == View::Native) return native;
  std::wstring of32Bit = Folder(::GetSystemWow64DirectoryW);
  return of32Bit.empty() ? native : of32Bit;
}

std::wstring ThisProgramsFolder() {
  wchar_t program[1024] = {};
  const DWORD length =
      ::GetModuleFileNameW(/*hModule=*/nullptr, program, static_cast<DWORD>(std::size(program)));
  const std::wstring path{program, length < std::size(program) ? length : 0};
  return path.substr(0, path.find_last_of(L'\\') + 1);
}

// The installer puts the 32-bit DLL in the folder of the same name below the 32-bit Program Files.
std::wstring FolderOf32Bit(const std::wstring& folder) {
  const std::wstring native = Expanded(L"%ProgramW6432%\\");
  if (!StartsWithoutCase(folder, native)) return folder + L"x86\\";
  return Expanded(L"%ProgramFiles(x86)%\\") + folder.substr(native.size());
}

// Returns the machine type of a PE image, or nothing if the bytes are not an image.
std::optional<WORD> MachineOfImage(const std::string& image) {
  IMAGE_DOS_HEADER dos{};
  if (image.size() < sizeof(dos)) return std::nullopt;
  std::memcpy(&dos, image.data(), sizeof(dos));
  struct {
    DWORD signature;
    IMAGE_FILE_HEADER file;
  } headers{};
  const auto start = static_cast<std::size_t>(dos.e_lfanew);
  if (dos.e_magic != IMAGE_DOS_SIGNATURE || dos.e_lfanew < 0) return std::nullopt;
  if (start > image.size() || image.size() - start < sizeof(headers)) return std::nullopt;
  std::memcpy(&headers, image.data() + start, sizeof(headers));
  if (headers.signature != IMAGE_NT_SIGNATURE) return std::nullopt;
  return headers.file.Machine;
}

// A file that cannot be read cannot be loaded either.
std::optional<std::string> ImageBytes(const std::wstring& path) {
  try {
    return Tools::ReadFileFrom(path, /*start=*/0);
  } catch (const Tools::FileNotReadableError&) {
    return std::nullopt;
  }
}

}  // namespace

std::wstring ModuleFile(const std::wstring& text, bool expand, View view) {
  std::wstring path = text;
  if (expand) path = Expanded(view == View::Wow64 ? WithVariablesOf32Bit(path) : path);
  if (path.size() >= 2 && path.front() == L'"' && path.back() == L'"') path = path.substr(1, path.size() - 2);
  if (path.empty()) return path;
  if (path.find_first_of(L"\\/:") == std::wstring::npos) return SystemFolder(view) + L"\\" + path;
  const std::wstring native = SystemFolder(View::Native) + L"\\";
  if (view == View::Wow64 && StartsWithoutCase(path, native)) {
    return SystemFolder(View::Wow64) + L"\\" + path.substr(native.size());
  }
  return path;
}

bool IsFile(const std::wstring& path) noexcept {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

WORD MachineOf(View view) noexcept {
  return view == View::Native ? NativeMachine() : WORD{IMAGE_FILE_MACHINE_I386};
}

bool IsModuleFor(WORD machine, const std::wstring& path) {
  const std::optional<std::string> image = ImageBytes(path);
  return image && MachineOfImage(*image) == machine;
}

std::string ModuleVersion(const std::wstring& path) {
  std::string block(::GetFileVersionInfoSizeW(path.c_str(), /*lpdwHandle=*/nullptr), '\0');
  VS_FIXEDFILEINFO* info = nullptr;
  UINT bytes = 0;
  if (block.empty() ||
      ::GetFileVersionInfoW(path.c_str(), /*dwHandle=*/0, static_cast<DWORD>(block.size()), block.data()) ==
          FALSE ||
      ::VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &bytes) == FALSE ||
      bytes < sizeof(*info)) {
    return {};
  }
  return FormatToString("%u.%u.%u.%u", unsigned{HIWORD(info->dwFileVersionMS)},
                        unsigned{LOWORD(info->dwFileVersionMS)}, unsigned{HIWORD(info->dwFileVersionLS)},
                        unsigned{LOWORD(info->dwFileVersionLS)});
}

std::optional<std::wstring> FilterBeside(View view) {
  const std::wstring folder = ThisProgramsFolder();
  const std::wstring path = (view == View::Native ? folder : FolderOf32Bit(folder)) + kFilterFile;
  return IsFile(path) ? std::optional{path} : std::nullopt;
}

bool IsSameFile(const std::wstring& path, const std::wstring& other) {
  if (EqualsWithoutCase(path, other)) return true;
  const std::optional<std::string> bytes = ImageBytes(path);
  return bytes && bytes == ImageBytes(other);
}

}  // namespace FilterCheck
