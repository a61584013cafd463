#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "KuvAuth/Configuration/HostAndPort.h"
#include "KuvAuth/Configuration/SettingEnums.h"
#include "KuvAuth/Registry/Registry.h"
#include "KuvAuth/Support/SettingsKeys.h"

/// @file
/// The record of the settings, and how it is filled.

/// The settings of the second factor as an administrator leaves them in the registry. There is one
/// record in the process, `GetConfiguration()`, loaded on first use and kept until the process ends.
/// No lock guards it.
struct Configuration {
  std::string Host;                   ///< name of the service's host: lower case, no white space, no port
  std::uint16_t Port = 0;             ///< split off the `Host` setting
  std::string IKey;                   ///< client identifier
  std::string SKey;                   ///< key that signs requests; never logged
  std::string HttpProxyHost;          ///< loaded for the provider: no white space, case kept
  std::uint32_t HttpProxyPort = 0;    ///< loaded for the provider, not checked
  std::uint32_t OfflineMaxUsers = 5;  ///< loaded for the provider: at most 50
  std::uint32_t InactivityTimeoutSeconds = 0;  ///< loaded for the provider, not checked
  std::vector<GUID> ProvidersWhitelist;        ///< providers allowed beside the second factor's
  bool FailOpen = true;                        ///< told to the service (`BuildFailModeField`)
  bool AutoPush = false;                       ///< loaded for the provider
  bool local_ip_fallback = false;      ///< a local session has this machine's address (`GetClientIpAddress`)
  bool EnableSmartCards = false;       ///< one smart card provider stays allowed
  bool WrapSmartCards = false;         ///< with `EnableSmartCards`: that provider is the wrapping one
  bool OfflineAvailable = true;        ///< loaded for the provider
  bool ElevationOfflineEnable = true;  ///< loaded for the provider
  bool ElevationOfflineEnrollment = false;  ///< loaded for the provider
  /// As it was at load; decisions ask `GetElevationProtectionMode`.
  ::ElevationProtectionMode ElevationProtectionMode = ::ElevationProtectionMode::LogonOnly;
  /// As it was at load; `BuildUsernameFormatField` asks the registry.
  ::UsernameFormat UsernameFormat = ::UsernameFormat::NTLM;

  /// Whether the record is complete: host, port and both keys are there.
  bool IsConfigured() const noexcept;

  /// Reads both keys into the record, the local one first and the policy one over it, whether or not it
  /// is complete. The whitelist is rebuilt; any other setting that is absent, of another type or too
  /// long keeps the field as it stands. Returns `IsConfigured()`; an incomplete record is logged at
  /// `Error`. Throws only `std::bad_alloc`, and leaves the record incomplete then.
  bool Load(IRegistry& registry);

  /// Reads one key below `HKEY_LOCAL_MACHINE` into the record, and the log level with it. A key that
  /// cannot be opened changes nothing.
  void ReadKey(IRegistry& registry, const char* subKey);
};

/// Gives the record of the process as it stands, loaded or not.
Configuration* GetConfiguration() noexcept;

/// Loads the record (`Configuration::Load`) unless it is complete already. Returns whether it is complete.
/// On a complete record nothing is read: a setting that changes later is seen by the next process. Throws
/// only `std::bad_alloc`.
bool EnsureConfigurationLoaded();
/// The same, with the settings of the given registry.
bool EnsureConfigurationLoaded(IRegistry& registry);

/// Fills host, port and keys of the record without the registry: the host (at most with ":port") is
/// lower-cased and split, the keys are taken as they are. Returns whether the record is complete.
bool SetServiceCredentials(const std::string& host, const std::string& ikey, const std::string& skey);

/// Sets the log level from the value `Debug` of one key: 1 is `Debug`, more is `Trace`; 0, another type
/// or an absent value leave the level alone, as does a missing log. The new level is logged at `Info`.
/// Returns a status of the registry.
LSTATUS ApplyLogLevelFromKey(IRegistry& registry, const char* subKey);

/// Sets the log level from the local key, then from the policy key, so that the latter wins.
void ApplyConfiguredLogLevel();
