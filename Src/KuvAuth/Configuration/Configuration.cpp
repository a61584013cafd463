#include "KuvAuth/Configuration/Configuration.h"

#include "KuvAuth/Support/ConstinitText.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/WipeText.h"

namespace {

KUV_CONSTINIT_TEXT Configuration g_configuration;

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
  if (&skey != &configuration.SKey) {
    Kuv::WipeText(configuration.SKey);
    configuration.SKey = skey;
  }
  return configuration.IsConfigured();
}
