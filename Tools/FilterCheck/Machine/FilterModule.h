#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

namespace FilterCheck {

/// What a view's programs load: 64-bit or 32-bit modules.
enum class View : std::uint8_t { Native, Wow64 };

/// Gives the file that a view's programs load for the text of a class key. `expand` says that the text
/// is stored as one with variables. A bare name stands for a file in the system folder, and that folder is
/// another one for 32-bit programs.
std::wstring ModuleFile(const std::wstring& text, bool expand, View view);

/// Tells whether there is such a file, no folder.
bool IsFile(const std::wstring& path) noexcept;

/// Tells whether a file can be read and is a module for the view's programs.
bool HasArchitectureOf(View view, const std::wstring& path);

/// Gives the DLL that came with this program for a view; nothing if none is there.
std::optional<std::wstring> FilterBeside(View view);

/// Tells whether two files are one or can be read and hold the same bytes.
bool IsSameFile(const std::wstring& path, const std::wstring& other);

}  // namespace FilterCheck
