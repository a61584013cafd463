#pragma once

#include <string>
#include <string_view>

namespace FilterCheck {

/// Writes a file that is not there yet; what could not be written whole is removed. Throws
/// `FilterHost::HostError`.
void WriteNewFile(const std::wstring& path, std::string_view bytes);

}  // namespace FilterCheck
