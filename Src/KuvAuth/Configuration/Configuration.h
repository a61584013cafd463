#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <guiddef.h>

#include "KuvAuth/Configuration/HostAndPort.h"
#include "KuvAuth/Configuration/SettingEnums.h"
#include "KuvAuth/Registry/Registry.h"
#include "KuvAuth/Support/SettingsKeys.h"

/// @file
/// The record of the settings and the functions that load it. Implemented in Configuration.cpp,
/// ConfigurationLoad.cpp and LogLevelSetting.cpp.

/// The settings of the second factor from the registry. The process has one record, `GetConfiguration()`,
/// which is loaded on first use and kept until the process ends. It is not thread-safe. Texts are in the ANSI
/// code page of the process, as `RegQueryValueExA` returns them, not in UTF-8.
struct Configuration {
  std::string Host;                   ///< host name of the service: lower case, no white space, no port
  std::uint16_t Port = 0;             ///< port of the service, from the `Host` setting
  std::string IKey;                   ///< client identifier
  std::string SKey;                   ///< key that signs requests; never logged; not wiped with the record
  std::string HttpProxyHost;          ///< for the provider: no white space, case preserved
  std::uint32_t HttpProxyPort = 0;    ///< for the provider; range not checked
  std::uint32_t OfflineMaxUsers = 5;  ///< for the provider; at most 50
  std::uint32_t InactivityTimeoutSeconds = 0;  ///< for the provider; range not checked
  std::vector<GUID> ProvidersWhitelist;        ///< providers that are allowed in addition to the Kuv provider
  bool FailOpen = true;                        ///< sent to the service (`BuildFailModeField`)
  bool AutoPush = false;                       ///< for the provider
  bool local_ip_fallback = false;      ///< local sessions use this machine's address (`GetClientIpAddress`)
  bool EnableSmartCards = false;       ///< one smart card provider is allowed
  bool WrapSmartCards = false;         ///< with `EnableSmartCards`, the allowed one is the wrapping provider
  bool OfflineAvailable = true;        ///< for the provider
  bool ElevationOfflineEnable = true;  ///< for the provider
  bool ElevationOfflineEnrollment = false;  ///< for the provider
  /// The value at load. Decisions use the current value (`GetElevationProtectionMode`).
  ::ElevationProtectionMode ElevationProtectionMode = ::ElevationProtectionMode::LogonOnly;
  /// The value at load. `BuildUsernameFormatField` reads the current value.
  ::UsernameFormat UsernameFormat = ::UsernameFormat::NTLM;

  /// Returns whether the record is complete: `Host`, `Port`, `IKey` and `SKey` are set.
  [[nodiscard]] bool IsConfigured() const noexcept;

  /// Reads the local key and then the policy key into the record, even if it is complete. Rebuilds the
  /// whitelist; `OfflineMaxUsers` returns to 5 at each key that can be opened. A setting that is absent, has
  /// another type or is too long does not change any other field. An empty text is a value: in the policy key
  /// it hides the local text. Returns `IsConfigured()` and logs an incomplete record at `Error`. Throws
  /// `std::bad_alloc` and what `registry` throws; `SKey` is empty then, so that the record is incomplete.
  bool Load(IRegistry& registry);

  /// Reads the settings and the log level from one key below `HKEY_LOCAL_MACHINE`. Does nothing if the key
  /// cannot be opened. Throws `std::bad_alloc` and what `registry` throws; the settings that were read before
  /// remain in the record.
  void ReadKey(IRegistry& registry, const char* subKey);
};

/// Returns the record of the process, loaded or not.
Configuration* GetConfiguration() noexcept;

/// Loads the record (`Configuration::Load`) unless it is complete. A complete record is not read again, so a
/// changed setting takes effect in the next process. Returns whether the record is complete. Throws only
/// `std::bad_alloc`.
bool EnsureConfigurationLoaded();
/// Does the same with the settings of the given registry. Throws what it throws, too.
bool EnsureConfigurationLoaded(IRegistry& registry);

/// Sets `Host`, `Port`, `IKey` and `SKey` without the registry. Converts `host`, which may end in ":port", to
/// lower case and splits it; copies the keys unchanged. Wipes the former `SKey`. Returns whether the record
/// is complete. Throws `std::bad_alloc`; the record is incomplete if `SKey` could not be copied.
bool SetServiceCredentials(const std::string& host, const std::string& ikey, const std::string& skey);

/// Sets the log level from the value `Debug` of one key: 1 is `Debug`, any larger number is `Trace`. Does not
/// change the level if the value is 0, absent or of another type, or if there is no log. Logs the new level
/// at `Info`. Returns a status of the registry. Throws what `registry` throws.
LSTATUS ApplyLogLevelFromKey(IRegistry& registry, const char* subKey);

/// Sets the log level from the local key and then from the policy key, which takes precedence.
void ApplyConfiguredLogLevel();
