#include <windows.h>
#include <winhttp.h>

#include "AddressFixture.h"
#include "CryptoApiScript.h"
#include "KuvAuth/ServiceClient/AuthorizationSignature.h"
#include "KuvAuth/ServiceClient/ClientAddress.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"

namespace {

using namespace Kuv::Util;

class SilentServiceClient : public KuvTest::AddressFixture {
 protected:
  SilentServiceClient() {
    log.System().minLevel = LogLevel::Critical;
    metrics.Answer([this](int) { return remote ? 1 : 0; });
  }
  ~SilentServiceClient() override { EXPECT_TRUE(log.RawLines().empty()); }

  bool remote = false;
  KuvTest::ImportHook<decltype(&::GetSystemMetrics)> metrics{"GetSystemMetrics"};
};

TEST_F(SilentServiceClient, ReturnsNothingIfCryptographyOrTheDateFails) {
  for (int step = 1; step <= 3; ++step) {
    SCOPED_TRACE(step);
    KuvTest::CryptoApiScript crypto;
    crypto.Fail(step, 5);
    EXPECT_EQ(BuildHmacAuthorizationHeader("key", "user", "text"), "");
  }
  KuvTest::CryptoApiScript crypto;
  crypto.Fail(1, 5);
  EXPECT_EQ(BuildJsonAuthorizationSignature("a", "b", "c", "d", "body"), "");
  KUV_IMPORT_HOOK(format, WinHttpTimeFromSystemTime);
  format.Answer([](const SYSTEMTIME*, wchar_t*) { return FALSE; });
  EXPECT_EQ(BuildDateHeader(nullptr), "");
}

TEST_F(SilentServiceClient, EncodesNothingFromLengthsThatFoldToZeroOrBelow) {
  const char byte = 'x';
  constexpr std::uint64_t kFoldsToZero = std::uint64_t{1} << 32;
  EXPECT_EQ(Base64Encode(&byte, kFoldsToZero), "");
  // The low 32 bits are -1, for which the digits and the terminator would need -1 bytes.
  EXPECT_EQ(AtlHexEncode(&byte, kFoldsToZero | 0xFFFFFFFF), "");
}

TEST_F(SilentServiceClient, ReturnsTheAddressOfTheSession) {
  EXPECT_EQ(GetClientIpAddress(false), "");
  {
    KuvTest::ResolverScript resolver;
    resolver.addresses = {std::string(4, '\0')};
    EXPECT_EQ(GetClientIpAddress(true), "0.0.0.0");
    resolver.hostNameFails = true;
    EXPECT_EQ(GetLocalIpAddress(), "");
  }
  remote = true;
  KUV_IMPORT_HOOK(load, LoadLibraryW);
  load.Answer([](const wchar_t*) { return HMODULE{nullptr}; });
  EXPECT_EQ(GetClientIpAddress(false), "");
  // A library without the entry points.
  load.Answer([&load](const wchar_t*) { return load.Original(L"shell32.dll"); });
  EXPECT_EQ(GetClientIpAddress(true), "");
}

}  // namespace
