#pragma once

#include <cstdlib>
#include <string_view>

namespace KuvTest {

/// Whether the tests run at full size: KUV_ANOMALY=long.
inline bool IsLong() {
  const char* const size = std::getenv("KUV_ANOMALY");
  return size != nullptr && std::string_view{size} == "long";
}

}  // namespace KuvTest
