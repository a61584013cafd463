#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// @file
/// The network address of the client of a logon. An address is a text in numeric form: dotted decimal for
/// IPv4, the text representation of RFC 4291, section 2.2, for IPv6. An empty text means that there is no
/// address or that a call failed. The process must have started Windows Sockets (`WSAStartup`). All functions
/// are thread-safe as long as no thread changes the configuration. Implemented in ClientAddress.cpp and
/// RdpClientAddress.cpp.
namespace Kuv::Util {

/// The result of `WinStationQueryInformationW` for the information class 29, the remote address of a session.
/// Addresses are in network byte order.
struct RemoteAddressRecord {
  std::uint16_t family;          ///< 2 is IPv4, 23 is IPv6
  std::uint16_t padding;         ///< unused
  std::uint16_t port;            ///< the port of the client; unused
  std::uint16_t unused;          ///< unused
  std::uint8_t ipv4Address[4];   ///< the flow information for IPv6
  std::uint8_t ipv6Address[16];  ///< unused for IPv4
  std::uint32_t ipv6Scope;       ///< unused
};
static_assert(sizeof(RemoteAddressRecord) == 32 && offsetof(RemoteAddressRecord, port) == 4 &&
              offsetof(RemoteAddressRecord, ipv4Address) == 8 &&
              offsetof(RemoteAddressRecord, ipv6Address) == 12 &&
              offsetof(RemoteAddressRecord, ipv6Scope) == 28);

/// Returns the address of the Remote Desktop client. In a local session, returns the address of this machine
/// if the field `local_ip_fallback` of the configuration is set, else an empty text. Does not load the
/// configuration. Logs the case at `Trace` and a failure at `Error`.
[[nodiscard]] std::string GetClientIpAddress();

/// Does the same with `fallBackToLocal` instead of the setting.
[[nodiscard]] std::string GetClientIpAddress(bool fallBackToLocal);

/// Returns the address of the client of this process's Remote Desktop session. Loads winsta.dll by its name
/// for the duration of the call: a program whose own folder is not protected calls
/// `SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32)` first. Logs a failure at `Error`, unless the
/// terminal server cannot be opened.
[[nodiscard]] std::string GetRdpClientIpAddress();

/// Returns the first IPv4 address that the resolver returns for this machine's host name, which can be a
/// loopback address. Logs a failure at `Error`.
[[nodiscard]] std::string GetLocalIpAddress();

/// Returns the host name of this machine (`gethostname`). On failure, returns an empty text and logs at
/// `Error`.
[[nodiscard]] std::string GetLocalHostName();

/// Returns the text of a binary address in network byte order: 4 bytes for family 2 (IPv4), 16 bytes for
/// family 23 (IPv6). Returns an empty text and logs nothing for any other family. Logs the IPv4 address
/// 0.0.0.0 at `Error` as invalid, but returns its text. Calls the invalid-parameter handler of the C runtime
/// for a null address; if the handler returns, the address is treated as zero.
[[nodiscard]] std::string AddrToString(std::uint16_t family, const void* address);

}  // namespace Kuv::Util
