#pragma once

#include <windows.h>

#include <cstddef>
#include <string>

namespace Kuv {

/// Overwrites the storage of a text with zeros, also after its end, and makes the text empty. Does not
/// allocate memory and keeps the capacity.
void WipeText(std::string& text) noexcept;

/// A text that is wiped at the end of its scope.
struct WipedText {
  WipedText() = default;
  WipedText(const WipedText&) = delete;
  WipedText& operator=(const WipedText&) = delete;
  ~WipedText() { WipeText(text); }

  std::string text;
};

/// A buffer on the stack that is wiped at the end of its scope.
template <std::size_t Size>
struct WipedBuffer {
  WipedBuffer() = default;
  WipedBuffer(const WipedBuffer&) = delete;
  WipedBuffer& operator=(const WipedBuffer&) = delete;
  ~WipedBuffer() { ::SecureZeroMemory(bytes, Size); }

  char bytes[Size] = {};
};

}  // namespace Kuv
