#pragma once

#include <string>
#include <string_view>

namespace FilterCheck {

/// Creates a file and writes the bytes to it. Throws `Tools::ToolError` if the file exists or cannot be
/// written; an incomplete file is deleted.
void WriteNewFile(const std::wstring& path, std::string_view bytes);

}  // namespace FilterCheck
