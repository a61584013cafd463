#pragma once

#include <string>

#include "FakeRegistry.h"
#include "Support/KuvFixture.h"

namespace KuvTest {

inline const std::string kLocalPath = "Software\\Kuvant\\KuvCredProv";
inline const std::string kPolicyPath = "Software\\Policies\\Kuvant\\KuvCredProv";

/// The last line of an incomplete load.
inline const LogLine kNotConfigured{
    LogLevel::Error,
    "Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings."};

inline LogLine Info(const std::string& text) {
  return {LogLevel::Info, text};
}

/// Returns every field of a record as text, so that two records can be compared and printed.
std::string Describe(const Configuration& record);

/// Adds a registry in memory and a local record to the empty platform registry.
class RecordFixture : public KuvFixture {
 protected:
  /// Writes the required settings to the local key of the registry in memory.
  void SetCredentials() { SetCredentials(kLocalPath); }
  void SetCredentials(const std::string& path) {
    fake.SetText(path, "Host", "api.example.com");
    fake.SetText(path, "IKey", "IKEY");
    fake.SetText(path, "SKey", "SKEY");
  }

  FakeRegistry fake;
  Configuration record;
};

}  // namespace KuvTest
