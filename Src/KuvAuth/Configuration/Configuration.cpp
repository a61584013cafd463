#include "KuvAuth/Configuration/Configuration.h"

#include <cstdlib>

#include "KuvAuth/Support/Text.h"

namespace {

constexpr std::int32_t kDefaultPort = 443;

// clang 14, which reads this for the lint, cannot evaluate the library's string constructor.
#if !defined(__clang_analyzer__)
constinit
#endif
    Configuration g_configuration;

}  // namespace

bool Configuration::IsConfigured() const noexcept {
  return !Host.empty() && Port != 0 && !IKey.empty() && !SKey.empty();
}

Configuration* GetConfiguration() noexcept {
  return &g_configuration;
}

bool EnsureConfigurationLoaded() {
  Registry registry;
  return EnsureConfigurationLoaded(registry);
}

bool EnsureConfigurationLoaded(IRegistry& registry) {
  return g_configuration.IsConfigured() || g_configuration.Load(registry);
}

bool SetServiceCredentials(const std::string& host, const std::string& ikey, const std::string& skey) {
  Configuration& configuration = g_configuration;
  configuration.Host = ToLowerAscii(host);
  configuration.Port = static_cast<std::uint16_t>(SplitHostAndPort(configuration.Host));
  configuration.IKey = ikey;
  configuration.SKey = skey;
  return configuration.IsConfigured();
}

std::int32_t SplitHostAndPort(std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return kDefaultPort;
  // NOLINTNEXTLINE(cert-err34-c): a port without digits counts as 0, and no range is checked.
  const std::int32_t port = std::atoi(text.c_str() + colon + 1);
  text.resize(colon);
  return port;
}
