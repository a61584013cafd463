#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

namespace FilterCheck {

/// The registry view of 64-bit (native) or 32-bit programs.
enum class View : std::uint8_t { Native, Wow64 };

/// Returns the path of the file that programs of a view load for the text in a class key. Expands environment
/// variables if `expand` is set. A name without a folder is a file in the system folder, which is a different
/// folder for 32-bit programs.
std::wstring ModuleFile(const std::wstring& text, bool expand, View view);

/// Returns whether the path is an existing file, not a folder.
bool IsFile(const std::wstring& path) noexcept;

/// Returns the machine type of the modules that the system programs of a view load: that of Windows for the
/// view of 64-bit programs, and x86 for that of 32-bit programs.
WORD MachineOf(View view) noexcept;

/// Returns whether the file can be read and is a module of this machine type.
bool IsModuleFor(WORD machine, const std::wstring& path);

/// Returns the version in the resources of a module: "4.3.1700.1150"; empty if there is none.
std::string ModuleVersion(const std::wstring& path);

/// Returns the path of the DLL that was installed with this program for a view, or nothing if there is none.
std::optional<std::wstring> FilterBeside(View view);

/// Returns whether the paths are equal, or both files can be read and have the same content.
bool IsSameFile(const std::wstring& path, const std::wstring& other);

}  // namespace FilterCheck
