#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

namespace FilterCheck {

/// A registry view, by the programs that use it: 64-bit or 32-bit ones.
enum class View : std::uint8_t { Native, Wow64 };

/// Returns the file that a view's programs load for the text of a class key. `expand` means that the text is
/// stored with environment variables. A bare name is a file in the system folder, which is a different one
/// for 32-bit programs.
std::wstring ModuleFile(const std::wstring& text, bool expand, View view);

/// Returns true if the path is that of an existing file, not a folder.
bool IsFile(const std::wstring& path) noexcept;

/// Returns true if a file can be read and is a module for the view's programs.
bool HasArchitectureOf(View view, const std::wstring& path);

/// Returns the path of the DLL that was installed with this program for a view, or nothing without one.
std::optional<std::wstring> FilterBeside(View view);

/// Returns true if two paths are equal, or both files can be read and have the same content.
bool IsSameFile(const std::wstring& path, const std::wstring& other);

}  // namespace FilterCheck
