#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Anomaly/SettingsStorm/StoredSettings.h"

namespace KuvTest {

/// The effective settings as texts, by the names of the fields of `Configuration`.
using SettingsRecord = std::map<std::string, std::string>;

/// One request of the logon process.
struct Question {
  std::uint32_t scenario;
  std::uint32_t flags;
  bool remote;
};

/// A deliberately simple, independent model of the settings: how they load, and the resulting decisions. It
/// shares nothing with the code under test except the platform's conversion of 16-bit text.
class SettingsModel {
 public:
  explicit SettingsModel(const StoredSettings& settings);

  SettingsRecord Record() const;
  bool Complete() const;
  /// Returns the log level after the load; it is 3 before.
  int LogLevel() const { return logLevel_; }

  /// Returns the flags of the providers after a decision; `before` are the flags before that.
  std::vector<int> Decide(const Question& question, const std::vector<GUID>& providers,
                          const std::vector<int>& before) const;

 private:
  void ReadKey(const StoredKey& key);

  std::map<std::string, std::string> texts_{{"Host", ""}, {"IKey", ""}, {"SKey", ""}, {"HttpProxyHost", ""}};
  std::map<std::string, bool> flags_{{"FailOpen", true},
                                     {"EnableSmartCards", false},
                                     {"WrapSmartCards", false},
                                     {"AutoPush", false},
                                     {"local_ip_fallback", false},
                                     {"OfflineAvailable", true},
                                     {"ElevationOfflineEnable", true},
                                     {"ElevationOfflineEnrollment", false}};
  std::map<std::string, std::uint32_t> numbers_{{"Port", 0},
                                                {"HttpProxyPort", 0},
                                                {"OfflineMaxUsers", 5},
                                                {"InactivityTimeoutSeconds", 0},
                                                {"ElevationProtectionMode", 0},
                                                {"UsernameFormat", 1}};
  std::vector<std::string> whitelist_;
  int logLevel_ = 3;
  std::uint32_t mode_ = 0;
  bool rdpOnly_ = false;
};

}  // namespace KuvTest
