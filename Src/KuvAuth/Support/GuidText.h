#pragma once

#include <windows.h>

#include <string>

namespace Kuv {

/// The text of a GUID in braces, 38 characters in upper case (`StringFromGUID2`). Does not allocate memory.
/// Empty if the call fails.
class GuidText {
 public:
  explicit GuidText(const GUID& guid) noexcept;
  const wchar_t* Get() const noexcept { return text_; }
  /// Returns whether `StringFromGUID2` succeeded.
  explicit operator bool() const noexcept { return length_ > 0; }

 private:
  wchar_t text_[50] = {};
  int length_;
};

}  // namespace Kuv

/// Returns the text of a GUID (see `Kuv::GuidText`) as a string.
std::wstring GuidToString(const GUID& guid);
