#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "KuvAuth/ServiceClient/Encoders.h"

// Shared by the fuzz targets. Each compares the library with a simple reference implementation.
namespace KuvFuzz {

/// Ends the run with this input if the property does not hold.
inline void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "property violated: %s\n", property);
  std::abort();
}

/// A copy of the bytes in a block of exactly their size, so that a read past the end is detected.
class ExactCopy {
 public:
  explicit ExactCopy(const std::string& bytes) : block_(new char[bytes.size()]) {
    bytes.copy(block_.get(), bytes.size());
  }
  const char* Get() const { return block_.get(); }

 private:
  std::unique_ptr<char[]> block_;
};

/// Encodes a one-byte buffer with another length. It must be rejected before anything is read: lengths whose
/// low half is from `first` to below `end` throw, and a low half of 1 returns `folded`.
template <typename Encoder>
void CheckLength(Encoder encode, std::uint64_t length, std::uint64_t first, std::uint64_t end,
                 const char* folded) {
  const std::uint64_t low = length % 0x100000000u;
  if (low < first && low > 1) return;
  const ExactCopy byte{"x"};
  bool thrown = false;
  std::string text;
  try {
    text = encode(byte.Get(), length);
  } catch (const CAtlException& exception) {
    thrown = true;
    Require(static_cast<std::uint32_t>(exception.m_hr) == 0x80004005u, "status");
  }
  Require(thrown == (low >= first && low < end), "lengths that throw");
  Require(text == (low == 1 ? folded : ""), "text of a folded length");
}

/// Percent-encodes without optimization.
inline std::string PlainPercent(const std::string& text) {
  const std::string kept = "-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~";
  std::string encoded;
  for (const char character : text) {
    if (kept.find(character) != std::string::npos) {
      encoded += character;
    } else {
      char escape[4];
      std::snprintf(escape, sizeof(escape), "%%%02X", static_cast<unsigned char>(character));
      encoded += escape;
    }
  }
  return encoded;
}

}  // namespace KuvFuzz
