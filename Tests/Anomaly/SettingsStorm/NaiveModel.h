#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "Anomaly/SettingsStorm/StoredSettings.h"

namespace KuvTest {

/// The settings as they ought to be in force, named as the registry names them.
struct ModelRecord {
  std::string Host;
  std::uint32_t Port = 0;
  std::string IKey;
  std::string SKey;
  std::string HttpProxyHost;
  std::uint32_t HttpProxyPort = 0;
  std::uint32_t OfflineMaxUsers = 5;
  std::uint32_t InactivityTimeoutSeconds = 0;
  std::vector<std::string> ProvidersWhitelist;  ///< upper case, with braces
  bool FailOpen = true;
  bool AutoPush = false;
  bool local_ip_fallback = false;
  bool EnableSmartCards = false;
  bool WrapSmartCards = false;
  bool OfflineAvailable = true;
  bool ElevationOfflineEnable = true;
  bool ElevationOfflineEnrollment = false;
  std::uint32_t ElevationProtectionMode = 0;
  std::uint32_t UsernameFormat = 1;

  bool operator==(const ModelRecord&) const = default;
};

/// One question of the logon process.
struct ModelQuestion {
  std::uint32_t scenario;
  std::uint32_t flags;
  bool remote;
};

/// A deliberately simple second opinion on what settings mean: how they load, and what is decided on them. It
/// shares nothing with the code that it judges but the platform's conversion of 16-bit text.
class NaiveModel {
 public:
  explicit NaiveModel(const StoredSettings& settings);

  const ModelRecord& Record() const { return record_; }
  bool Complete() const;
  /// Level of the log after the load, which found it at 3.
  int LogLevel() const { return logLevel_; }

  /// The flags of the providers after a decision which found them like this. One of the providers is
  /// KuvCredProv.
  std::vector<int> Decide(const ModelQuestion& question, const std::vector<std::string>& providers,
                          std::vector<int> allow) const;

 private:
  void ReadKey(const StoredKey& key);
  bool Allowed(const std::string& provider) const;

  ModelRecord record_;
  int logLevel_ = 3;
  std::uint32_t mode_ = 0;
  bool rdpOnly_ = false;
};

}  // namespace KuvTest
