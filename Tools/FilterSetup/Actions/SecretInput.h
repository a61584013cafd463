#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

/// @file
/// The client key on its way from a file or the console to the registry.

namespace FilterSetup {

/// The most characters of `SKey` that the library reads.
inline constexpr std::size_t kMostSecretCharacters = 1023;

/// Fixed memory for a secret, wiped at the end of its scope.
template <typename Unit, std::size_t Capacity>
class SecretBuffer {
 public:
  SecretBuffer() = default;
  ~SecretBuffer() { ::SecureZeroMemory(units_.data(), sizeof(units_)); }
  SecretBuffer(const SecretBuffer&) = delete;
  SecretBuffer& operator=(const SecretBuffer&) = delete;

  Unit* Data() noexcept { return units_.data(); }
  const Unit* Data() const noexcept { return units_.data(); }
  static constexpr std::size_t Size() noexcept { return Capacity; }

 private:
  std::array<Unit, Capacity> units_{};
};

/// The characters of a client key, checked by `ReadSecret`. Wiped at the end of its scope.
class Secret {
 public:
  /// Returns the characters: 1 to 1,023, printable ASCII without white space.
  std::string_view Text() const noexcept { return {buffer_.Data() + start_, length_}; }

 private:
  friend void ReadSecret(const std::wstring& file, Secret& secret);

  // A byte order mark, the characters, a line end, and one byte more, which shows that the text is too long.
  SecretBuffer<char, 3 + kMostSecretCharacters + 2 + 1> buffer_;
  std::size_t start_ = 0;
  std::size_t length_ = 0;
};

/// Reads one line from the file or, for an empty name, from standard input; on a console without echo, after
/// a prompt on standard error. Removes a UTF-8 byte order mark at the start and a line end at the end. Throws
/// `RefusedError` for a text that is empty, too long, or not one line of printable ASCII characters without
/// white space, `Tools::FileNotReadableError` for the file, and `Tools::ToolError` for standard input. No
/// message contains any of the text.
void ReadSecret(const std::wstring& file, Secret& secret);

}  // namespace FilterSetup
