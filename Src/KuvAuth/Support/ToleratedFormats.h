#pragma once

#include <cstdint>
#include <cstdlib>

namespace Kuv {

/// While it exists, the formatter reports a malformed format to its caller, on this thread. The runtime of
/// Visual C++ ends the process otherwise; the runtime of MinGW-w64, msvcrt.dll, only
/// reports it under Wine.
#if defined(_MSC_VER)
class ToleratedFormats {
 public:
  ToleratedFormats() noexcept : before_(::_set_thread_local_invalid_parameter_handler(&Ignore)) {}
  ~ToleratedFormats() { ::_set_thread_local_invalid_parameter_handler(before_); }
  ToleratedFormats(const ToleratedFormats&) = delete;
  ToleratedFormats& operator=(const ToleratedFormats&) = delete;

 private:
  static void __cdecl Ignore(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {}

  const _invalid_parameter_handler before_;
};
#else
struct [[maybe_unused]] ToleratedFormats {};
#endif

}  // namespace Kuv
