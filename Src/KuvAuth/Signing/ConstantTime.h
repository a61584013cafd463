#pragma once

#include <string_view>

namespace Kuv::Signing {

/// Returns whether two texts are equal. Reads all characters wherever the texts differ, so that the time does
/// not show how many of them are right. The length of the texts is not a secret.
bool AreEqualInConstantTime(std::string_view left, std::string_view right) noexcept;

}  // namespace Kuv::Signing
