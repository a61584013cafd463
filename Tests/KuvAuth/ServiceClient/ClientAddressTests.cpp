#include "KuvAuth/ServiceClient/ClientAddress.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "AddressFixture.h"

namespace {

using namespace Kuv::Util;
using KuvTest::LogLines;

using AddressText = KuvTest::AddressFixture;

TEST_F(AddressText, FormatsBothFamiliesAndLogsOnlyAZeroIpv4Address) {
  EXPECT_EQ(AddrToString(2, "\xC0\x00\x02\x7F"), "192.0.2.127");
  EXPECT_EQ(AddrToString(2, "\xFF\xFF\xFF\xFF"), "255.255.255.255");
  EXPECT_EQ(AddrToString(23, "\x20\x01\x0D\xB8\0\0\0\0\0\0\0\0\0\0\0\x01"), "2001:db8::1");
  EXPECT_EQ(AddrToString(23, std::string(16, '\0').data()), "::");
  EXPECT_EQ(log.Lines(), LogLines{});
  EXPECT_EQ(AddrToString(2, "\0\0\0"), "0.0.0.0");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "AddrToString was passed an invalid address"}}));
}

TEST_F(AddressText, AnyOtherFamilyReturnsNothingWithoutALine) {
  KUV_IMPORT_HOOK(name, getnameinfo);
  for (const std::uint16_t family :
       std::initializer_list<std::uint16_t>{0, 1, 3, 5, 10, 22, 24, 0x102, 0xFFFF}) {
    EXPECT_EQ(AddrToString(family, "\1\2\3\4"), "") << family;
  }
  EXPECT_EQ(name.CallCount(), 0u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(AddressText, RequestsTheNumericNameOfAPlainIpv4Address) {
  KUV_IMPORT_HOOK(name, getnameinfo);
  name.Answer([](const sockaddr* address, socklen_t length, char* host, DWORD hostSize, char* service,
                 DWORD serviceSize, int flags) {
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(address), 16),
              std::string("\2\0\0\0\1\2\3\4\0\0\0\0\0\0\0\0", 16));
    EXPECT_EQ(length, 16);
    EXPECT_EQ(std::string(host, 65), std::string(65, '\0'));
    EXPECT_EQ(hostSize, 65u);
    EXPECT_EQ(service, nullptr);
    EXPECT_EQ(serviceSize, 0u);
    EXPECT_EQ(flags, 10);
    std::memcpy(host, "a\0b", 3);
    return 0;
  });
  EXPECT_EQ(AddrToString(2, "\1\2\3\4"), "a");
}

TEST_F(AddressText, RequestsTheNumericNameOfAPlainIpv6Address) {
  KUV_IMPORT_HOOK(name, getnameinfo);
  name.Answer([](const sockaddr* address, socklen_t length, char* host, DWORD, char*, DWORD, int flags) {
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(address), 28),
              std::string("\x17\0\0\0\0\0\0\0", 8) + "0123456789abcdef" + std::string(4, '\0'));
    EXPECT_EQ(length, 28);
    EXPECT_EQ(flags, 10);
    // A text that fills the buffer, with no NUL.
    std::memset(host, 'x', 65);
    return 0;
  });
  EXPECT_EQ(AddrToString(23, "0123456789abcdef"), std::string(65, 'x'));
}

TEST_F(AddressText, FailureIsLoggedWithTheSocketError) {
  KUV_IMPORT_HOOK(name, getnameinfo);
  name.Answer([](auto&&...) { return 11001; });
  KUV_IMPORT_HOOK(lastError, WSAGetLastError);
  lastError.Answer([] { return 10093; });
  EXPECT_EQ(AddrToString(2, "\1\2\3\4"), "");
  EXPECT_EQ(AddrToString(23, "0123456789abcdef"), "");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "Failure in socket operation 'getnameinfo' (10093)"},
                                   {LogLevel::Error, "Failure in socket operation 'getnameinfo' (10093)"}}));
}

// Lets the C runtime continue after an invalid parameter: by default it ends the process on Windows.
class ToleratedParameters {
 public:
  ToleratedParameters() = default;
  ~ToleratedParameters() { ::_set_invalid_parameter_handler(before_); }
  ToleratedParameters(const ToleratedParameters&) = delete;
  ToleratedParameters& operator=(const ToleratedParameters&) = delete;

 private:
  static void __cdecl Ignore(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {}

  const _invalid_parameter_handler before_ = ::_set_invalid_parameter_handler(Ignore);
};

TEST_F(AddressText, NullAddressIsAnInvalidParameterAndReadsAsZero) {
  const ToleratedParameters tolerated;
  errno = 0;
  EXPECT_EQ(AddrToString(2, nullptr), "0.0.0.0");
  EXPECT_EQ(errno, 22);
  errno = 0;
  EXPECT_EQ(AddrToString(23, nullptr), "::");
  EXPECT_EQ(errno, 22);
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "AddrToString was passed an invalid address"}}));
}

class LocalAddress : public KuvTest::AddressFixture {
 protected:
  KuvTest::ResolverScript resolver;
};

TEST_F(LocalAddress, IsTheFirstAddressOfTheResolver) {
  resolver.addresses = {"\x7F\x01\x02\x03", "\xC0\xA8\x02\x01", "\x0A\x01\x01\x01"};
  EXPECT_EQ(GetLocalIpAddress(), "127.1.2.3");
  EXPECT_EQ(resolver.freeAddresses.CallCount(), 1u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(LocalAddress, IsEmptyForAnEmptyList) {
  EXPECT_EQ(GetLocalIpAddress(), "");
  EXPECT_EQ(resolver.freeAddresses.CallCount(), 0u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(LocalAddress, FreesTheListAfterTheAddressFails) {
  resolver.addresses = {"\x7F\x01\x02\x03"};
  KUV_IMPORT_HOOK(name, getnameinfo);
  name.Answer([&](auto&&...) {
    EXPECT_EQ(resolver.freeAddresses.CallCount(), 0u);
    return 11001;
  });
  EXPECT_EQ(GetLocalIpAddress(), "");
  EXPECT_EQ(resolver.freeAddresses.CallCount(), 1u);
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "Failure in socket operation 'getnameinfo' (10093)"}}));
}

TEST_F(LocalAddress, MissingHostNameIsLogged) {
  resolver.hostNameFails = true;
  EXPECT_EQ(GetLocalIpAddress(), "");
  EXPECT_EQ(resolver.getAddresses.CallCount(), 0u);
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "Failure in socket operation 'gethostname' (10093)"}}));
}

TEST_F(LocalAddress, UnknownHostIsLogged) {
  resolver.addresses = {"\x7F\x01\x02\x03"};
  resolver.resolveResult = 11001;
  EXPECT_EQ(GetLocalIpAddress(), "");
  EXPECT_EQ(resolver.freeAddresses.CallCount(), 0u);
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "Failure in socket operation 'getaddrinfo' (10093)"}}));
}

TEST_F(LocalAddress, AcceptsAHostNameThatFillsTheBuffer) {
  resolver.host.assign(1024, 'h');
  resolver.addresses = {"\x7F\x01\x02\x03"};
  EXPECT_EQ(GetLocalIpAddress(), "127.1.2.3");
  EXPECT_EQ(GetLocalHostName(), std::string(1024, 'h'));
}

TEST_F(LocalAddress, HostNameFailsOnlyForMinusOne) {
  resolver.hostNameResult = 1;
  resolver.addresses = {"\x7F\x01\x02\x03"};
  EXPECT_EQ(GetLocalIpAddress(), "127.1.2.3");
  EXPECT_EQ(GetLocalHostName(), "the-host");
}

TEST_F(LocalAddress, HostNameEndsAtItsFirstNul) {
  resolver.host = std::string("one\0two", 7);
  EXPECT_EQ(GetLocalHostName(), "one");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(LocalAddress, FailedHostNameIsLogged) {
  resolver.hostNameFails = true;
  EXPECT_EQ(GetLocalHostName(), "");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "System call 'gethostname' failed. {error: 10093}"}}));
}

TEST_F(AddressText, HostNameIsThatOfThePlatform) {
  char name[256] = {};
  ASSERT_EQ(::gethostname(name, sizeof(name)), 0);
  EXPECT_EQ(GetLocalHostName(), name);
}

// The source of the address in a local or a remote session.
class ClientAddress : public LocalAddress {
 protected:
  ClientAddress() {
    resolver.addresses = {"\xC6\x33\x64\x01"};
    metrics.Answer([this](int index) { return index == SM_REMOTESESSION && remote ? 1 : 0; });
    // No other session is known, so that the metric decides.
    session.Answer([](auto&&...) { return FALSE; });
    library.Answer([](const wchar_t*) { return nullptr; });
  }

  bool remote = false;
  KuvTest::ImportHook<decltype(&::GetSystemMetrics)> metrics{"GetSystemMetrics"};
  KuvTest::ImportHook<decltype(&::ProcessIdToSessionId)> session{"ProcessIdToSessionId"};
  KuvTest::ImportHook<decltype(&::LoadLibraryW)> library{"LoadLibraryW"};
};

constexpr char kRemote[] = "IP address is being queried in a remote session context";
constexpr char kNoFallback[] =
    "WARNING: IP address is not being queried in a remote session context and falling back to the local IP "
    "address is not indicated";
constexpr char kFallback[] =
    "IP address is not being queried in a remote session context but falling back to the local IP address is "
    "indicated";

TEST_F(ClientAddress, IsThatOfThePeerInARemoteSession) {
  remote = true;
  EXPECT_EQ(GetClientIpAddress(true), "");
  EXPECT_EQ(GetClientIpAddress(false), "");
  constexpr char noLibrary[] = "Kuv::Util::GetRdpClientIpAddress unable to load winsta.dll";
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Trace, kRemote},
                                   {LogLevel::Error, noLibrary},
                                   {LogLevel::Trace, kRemote},
                                   {LogLevel::Error, noLibrary}}));
  EXPECT_EQ(resolver.hostName.CallCount(), 0u);
}

TEST_F(ClientAddress, IsEmptyInALocalSessionWithoutFallbackAndUsesNoSocket) {
  KUV_IMPORT_HOOK(name, getnameinfo);
  EXPECT_EQ(GetClientIpAddress(false), "");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Trace, kNoFallback}}));
  EXPECT_EQ(resolver.hostName.CallCount() + resolver.getAddresses.CallCount() + name.CallCount(), 0u);
  EXPECT_EQ(library.CallCount(), 0u);
}

TEST_F(ClientAddress, IsThatOfThisMachineInALocalSessionWithFallback) {
  EXPECT_EQ(GetClientIpAddress(true), "198.51.100.1");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Trace, kFallback}}));
  EXPECT_EQ(library.CallCount(), 0u);
}

TEST_F(ClientAddress, FollowsTheFallbackSettingByDefault) {
  GetConfiguration()->local_ip_fallback = true;
  EXPECT_EQ(GetClientIpAddress(), "198.51.100.1");
  GetConfiguration()->local_ip_fallback = false;
  EXPECT_EQ(GetClientIpAddress(), "");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Trace, kFallback}, {LogLevel::Trace, kNoFallback}}));
}

}  // namespace
