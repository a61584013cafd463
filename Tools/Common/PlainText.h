#pragma once

#include <string>

namespace FilterCheck {

/// Gives foreign text in UTF-8, on one line: what would move a cursor, start an escape sequence or turn the
/// direction of writing becomes a question mark, and a long text is cut.
std::string PlainText(const std::wstring& text);

/// The same of a text in the code page of the platform's 8-bit calls.
std::string PlainText(const std::string& text);

}  // namespace FilterCheck
