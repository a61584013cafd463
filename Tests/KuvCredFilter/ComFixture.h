#pragma once

#include <windows.h>
#include <unknwn.h>

#include <cstdio>
#include <string>

#include "KuvCredFilter/Module.h"
#include "Support/KuvFixture.h"
#include "Support/Providers.h"

namespace KuvTest {

/// Formats an address as a log line shows it: all digits, in upper case.
inline std::string Address(const void* object) {
  char text[17] = {};
  std::snprintf(text, sizeof(text), "%0*llX", static_cast<int>(2 * sizeof(object)),
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(object)));
  return text;
}

/// Returns the address in a line of the form "Name object ADDRESS created"; empty for any other.
inline std::string AddressIn(const std::string& line) {
  const std::size_t begin = line.find(" object ");
  const std::size_t end = line.rfind(' ');
  return begin == std::string::npos || end < begin + 8 ? "" : line.substr(begin + 8, end - begin - 8);
}

/// Returns the number of references to an object.
inline ULONG References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

/// Expects that the test leaves no object and no lock of the server.
class ComFixture : public KuvFixture {
 protected:
  ComFixture() { EXPECT_EQ(g_moduleCount.load(), 0); }
  ~ComFixture() override { EXPECT_EQ(g_moduleCount.load(), 0); }

  /// Expects that an object with one reference counts its references without a log line.
  void ExpectCountsReferencesSilently(IUnknown* object) {
    EXPECT_EQ(object->AddRef(), 2u);
    EXPECT_EQ(object->AddRef(), 3u);
    EXPECT_EQ(object->Release(), 2u);
    EXPECT_EQ(object->Release(), 1u);
    EXPECT_EQ(log.Lines(), LogLines{});
  }

  /// Expects E_NOINTERFACE for these interfaces, and E_INVALIDARG for all interfaces without an out pointer.
  void ExpectNoInterface(IUnknown* object, const Names& missing) {
    for (const std::string& interfaceId : missing) {
      SCOPED_TRACE(interfaceId);
      void* out = kUntouched;
      EXPECT_EQ(static_cast<unsigned>(object->QueryInterface(Guid(interfaceId), &out)), 0x80004002u);
      EXPECT_EQ(out, nullptr);
    }
    for (const char* const interfaceId : {kIUnknown, kIClassFactory, kICredentialProviderFilter, kKuv}) {
      EXPECT_EQ(static_cast<unsigned>(object->QueryInterface(Guid(interfaceId), nullptr)), 0x80070057u);
    }
    EXPECT_EQ(References(object), 1u);
    EXPECT_EQ(log.Lines(), LogLines{});
  }

  /// The value of an out pointer before a call that must not change it.
  static inline void* const kUntouched = reinterpret_cast<void*>(std::uintptr_t{0x5A5A5A5A});
};

}  // namespace KuvTest
