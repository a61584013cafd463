#include "KuvAuth/Support/WipeText.h"

namespace Kuv {

void WipeText(std::string& text) noexcept {
  text.resize(text.capacity());
  ::SecureZeroMemory(text.data(), text.size());
  text.clear();
}

}  // namespace Kuv
