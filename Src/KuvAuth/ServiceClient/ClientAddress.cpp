#include "KuvAuth/ServiceClient/ClientAddress.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>
#include <iterator>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/SystemEvents.h"
#include "KuvAuth/ServiceClient/SystemCallFailure.h"
#include "KuvAuth/Support/RemoteSession.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace Kuv::Util {

namespace {

constexpr int kHostNameCapacity = 1024;
constexpr DWORD kAddressTextCapacity = 65;

struct AddressListTraits {
  using Value = addrinfo*;
  static Value None() noexcept { return nullptr; }
  static void Close(Value list) noexcept { ::freeaddrinfo(list); }
};
using UniqueAddressList = UniqueResource<AddressListTraits>;

// A host name, with room for a NUL after the bytes that `gethostname` can fill.
using HostName = char[kHostNameCapacity + 1];

bool ReadHostName(HostName& name) {
  return ::gethostname(name, kHostNameCapacity) != SOCKET_ERROR;
}

// Returns the numeric text of a socket address, or an empty text on failure.
std::string NameAddress(const sockaddr* address, socklen_t length) {
  char text[kAddressTextCapacity] = {};
  if (::getnameinfo(address, length, text, kAddressTextCapacity, /*pServiceBuffer=*/nullptr,
                    /*ServiceBufferSize=*/0, NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    LogSocketFailure("getnameinfo");
    return {};
  }
  std::string result{text, strnlen(text, std::size(text))};
  if (result == "0.0.0.0") KUV_LOG(LogLevel::Error, "AddrToString was passed an invalid address");
  return result;
}

}  // namespace

std::string GetClientIpAddress() {
  return GetClientIpAddress(GetConfiguration()->local_ip_fallback);
}

std::string GetClientIpAddress(bool fallBackToLocal) {
  if (IsRemoteSession()) {
    KUV_LOG(LogLevel::Trace, "IP address is being queried in a remote session context");
    return GetRdpClientIpAddress();
  }
  if (!fallBackToLocal) {
    KUV_LOG(LogLevel::Trace,
            "WARNING: IP address is not being queried in a remote session context and falling back to the "
            "local IP address is not indicated");
    return {};
  }
  KUV_LOG(LogLevel::Trace,
          "IP address is not being queried in a remote session context but falling back to the local IP "
          "address is indicated");
  return GetLocalIpAddress();
}

std::string GetLocalIpAddress() {
  HostName name = {};
  if (!ReadHostName(name)) {
    LogSocketFailure("gethostname");
    return {};
  }
  addrinfo hints{};
  hints.ai_family = AF_INET;
  UniqueAddressList list;
  if (::getaddrinfo(name, /*pServiceName=*/nullptr, &hints, list.Put()) != 0) {
    LogSocketFailure("getaddrinfo");
    return {};
  }
  if (!list) return {};
  const auto* const first = reinterpret_cast<const sockaddr_in*>(list.Get()->ai_addr);
  return AddrToString(AF_INET, &first->sin_addr);
}

std::string GetLocalHostName() {
  HostName name = {};
  if (!ReadHostName(name)) {
    const int code = ::WSAGetLastError();
    LogSystemCallFailure("gethostname", static_cast<std::uint32_t>(code));
    return {};
  }
  return name;
}

std::string AddrToString(std::uint16_t family, const void* address) {
  // memcpy_s, because it calls the invalid-parameter handler for a null pointer, as required.
  if (family == AF_INET) {
    sockaddr_in ipv4{};
    ipv4.sin_family = AF_INET;
    static_cast<void>(memcpy_s(&ipv4.sin_addr, sizeof(ipv4.sin_addr), address, sizeof(ipv4.sin_addr)));
    return NameAddress(reinterpret_cast<const sockaddr*>(&ipv4), sizeof(ipv4));
  }
  if (family == AF_INET6) {
    sockaddr_in6 ipv6{};
    ipv6.sin6_family = AF_INET6;
    static_cast<void>(memcpy_s(&ipv6.sin6_addr, sizeof(ipv6.sin6_addr), address, sizeof(ipv6.sin6_addr)));
    return NameAddress(reinterpret_cast<const sockaddr*>(&ipv6), sizeof(ipv6));
  }
  return {};
}

}  // namespace Kuv::Util
