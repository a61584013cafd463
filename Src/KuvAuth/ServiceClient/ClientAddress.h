#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// @file
/// Which network address stands for the person at the other end of a logon. An address is a text in
/// numeric form, dotted quad for IPv4 and colon form (RFC 4291, section 2.2) for IPv6; the empty text
/// means that there is none, and is the only sign of failure. The socket layer must have been started by
/// the process. Any thread may call.
namespace Kuv::Util {

/// What `WinStationQueryInformationW` tells for the information class 29, the remote address of a
/// session. Addresses are in network order.
struct RemoteAddressRecord {
  std::uint16_t family;          ///< 2 is IPv4, 23 is IPv6
  std::uint16_t padding;         ///< not used
  std::uint16_t port;            ///< the peer's port; not read
  std::uint16_t unused;          ///< not used
  std::uint8_t ipv4Address[4];   ///< the flow information with IPv6
  std::uint8_t ipv6Address[16];  ///< unused with IPv4
  std::uint32_t ipv6Scope;       ///< not read
};
static_assert(sizeof(RemoteAddressRecord) == 32 && offsetof(RemoteAddressRecord, port) == 4 &&
              offsetof(RemoteAddressRecord, ipv4Address) == 8 &&
              offsetof(RemoteAddressRecord, ipv6Address) == 12 &&
              offsetof(RemoteAddressRecord, ipv6Scope) == 28);

/// Gives the address of the remote session's peer; in a local session that of this machine if the
/// setting `local_ip_fallback` of the configuration, as it stands, allows it, else nothing. Which way was
/// taken is logged at `Trace`, a failure on it at `Error`.
std::string GetClientIpAddress();

/// The same, with `fallBackToLocal` in place of the setting.
std::string GetClientIpAddress(bool fallBackToLocal);

/// Gives the address of the peer of this process's remote session, through winsta.dll, which is loaded
/// and freed by each call. A failure is logged at `Error`, save that the terminal server cannot be
/// opened, which is not logged.
std::string GetRdpClientIpAddress();

/// Gives the first IPv4 address, in the resolver's order, of this machine's host name, whatever it is: a
/// loopback address too. A failure is logged at `Error`.
std::string GetLocalIpAddress();

/// Gives this machine's host name (`gethostname`), or an empty text, with the failure logged at `Error`.
std::string GetLocalHostName();

/// Gives the text of a raw address in network order: 4 bytes for family 2 (IPv4), 16 bytes for family 23
/// (IPv6); no text, and no log line, for any other family. The IPv4 address 0.0.0.0 is logged at `Error`
/// as invalid and returned all the same. A null address is handed to the C runtime's invalid-parameter
/// handler; if that returns it counts as zero.
std::string AddrToString(std::uint16_t family, const void* address);

}  // namespace Kuv::Util
