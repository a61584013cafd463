#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

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
