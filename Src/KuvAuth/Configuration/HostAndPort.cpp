#include "KuvAuth/Configuration/HostAndPort.h"

#include <cstdlib>

namespace {

constexpr std::int32_t kDefaultPort = 443;

}  // namespace

std::int32_t SplitHostAndPort(std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return kDefaultPort;
  // NOLINTNEXTLINE(cert-err34-c): a port without digits is required to be 0, and no range is checked.
  const std::int32_t port = std::atoi(text.c_str() + colon + 1);
  text.resize(colon);
  return port;
}
