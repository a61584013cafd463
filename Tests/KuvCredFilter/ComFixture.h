#pragma once

#include <windows.h>
#include <unknwn.h>

#include <cstdio>
#include <string>

#include "KuvCredFilter/Module.h"
#include "KuvCredFilter/Providers.h"
#include "Support/KuvFixture.h"

namespace KuvTest {

/// An address as a log line shows it: all digits, in upper case.
inline std::string Address(const void* object) {
  char text[17] = {};
  std::snprintf(text, sizeof(text), "%0*llX", static_cast<int>(2 * sizeof(object)),
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(object)));
  return text;
}

/// The address in a line of the form "Name object ADDRESS created"; empty in any other.
inline std::string AddressIn(const std::string& line) {
  const std::size_t begin = line.find(" object ");
  const std::size_t end = line.rfind(' ');
  return begin == std::string::npos || end < begin + 8 ? "" : line.substr(begin + 8, end - begin - 8);
}

/// How many references an object has.
inline ULONG References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

/// Expects that the test leaves no object and no lock of the server behind.
class ComFixture : public KuvFixture {
 protected:
  ComFixture() { EXPECT_EQ(g_moduleCount.load(), 0); }
  ~ComFixture() override { EXPECT_EQ(g_moduleCount.load(), 0); }

  /// What an out pointer holds before a call that must not touch it.
  static inline void* const kUntouched = reinterpret_cast<void*>(std::uintptr_t{0x5A5A5A5A});
};

}  // namespace KuvTest
