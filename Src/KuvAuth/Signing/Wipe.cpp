#include "KuvAuth/Signing/Wipe.h"

#include <windows.h>

namespace Kuv::Signing {

void WipeMemory(void* memory, std::size_t size) noexcept {
  if (size != 0) ::SecureZeroMemory(memory, size);
}

}  // namespace Kuv::Signing
