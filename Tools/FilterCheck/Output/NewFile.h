#pragma once

#include <string>
#include <string_view>

namespace FilterCheck {

/// Writes a new file, and deletes it again if it cannot be written completely. Throws `Tools::ToolError`,
/// also if the file exists.
void WriteNewFile(const std::wstring& path, std::string_view bytes);

}  // namespace FilterCheck
