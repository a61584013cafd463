#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Tools {

/// Converts untrusted text to one line of UTF-8. Replaces characters that move the cursor, start an escape
/// sequence or change the text direction by question marks, and truncates text after 1,100 units.
std::string PlainText(const std::wstring& text);

/// Does the same for text in the ANSI code page.
std::string PlainText(const std::string& text);

/// Does the same for UTF-8 text, which may contain NUL characters.
std::string PlainUtf8(const std::string& text);

/// Returns the width of UTF-8 text on a console in columns, one for each character.
std::size_t TextWidth(std::string_view text) noexcept;

}  // namespace Tools
