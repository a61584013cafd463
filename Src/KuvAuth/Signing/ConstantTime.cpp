#include "KuvAuth/Signing/ConstantTime.h"

namespace Kuv::Signing {

bool AreEqualInConstantTime(std::string_view left, std::string_view right) noexcept {
  if (left.size() != right.size()) return false;
  // Volatile, so that the compiler does not add an early exit.
  volatile unsigned difference = 0;
  for (std::size_t i = 0; i < left.size(); ++i)
    difference = difference | static_cast<unsigned>(left[i] ^ right[i]);
  return difference == 0;
}

}  // namespace Kuv::Signing
