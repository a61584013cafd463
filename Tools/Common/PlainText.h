#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Tools {

/// Converts foreign text to UTF-8 on one line: a character that moves the cursor, starts an escape sequence
/// or changes the direction of writing becomes a question mark, and a text is truncated after 1,100 units.
std::string PlainText(const std::wstring& text);

/// As above, from text in the code page of the platform's 8-bit calls.
std::string PlainText(const std::string& text);

/// As above, from text in UTF-8, which may contain NUL characters.
std::string PlainUtf8(const std::string& text);

/// Returns the number of columns that UTF-8 text takes on the screen, one for each character.
std::size_t TextWidth(std::string_view text) noexcept;

}  // namespace Tools
