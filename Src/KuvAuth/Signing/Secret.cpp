#include "KuvAuth/Signing/Secret.h"

#include <cstring>
#include <utility>

#include "KuvAuth/Signing/Wipe.h"

namespace Kuv::Signing {

// The bytes are in a separate block: a short `std::string` keeps them in the object, where moving it
// leaves a copy behind.
Secret::Secret(std::string_view text) : size_(text.size()) {
  if (text.empty()) return;
  bytes_ = std::make_unique<std::byte[]>(text.size());
  std::memcpy(bytes_.get(), text.data(), text.size());
}

Secret Secret::Take(std::string& text) {
  Secret secret{std::string_view{text}};
  // The string may have held a longer text, so all of its memory is wiped.
  text.resize(text.capacity());
  WipeMemory(text.data(), text.size());
  text.clear();
  return secret;
}

Secret::Secret(Secret&& other) noexcept
    : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {}

Secret& Secret::operator=(Secret&& other) noexcept {
  if (this == &other) return *this;
  Wipe();
  bytes_ = std::move(other.bytes_);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

Secret::~Secret() {
  Wipe();
}

void Secret::Wipe() noexcept {
  WipeMemory(bytes_.get(), size_);
}

}  // namespace Kuv::Signing
