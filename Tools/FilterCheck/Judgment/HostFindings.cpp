#include <algorithm>

#include "Common/PlainText.h"
#include "FilterCheck/Judgment/SettingFindings.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

using Tools::PlainText;

bool IsPort(const std::string& text) {
  constexpr std::size_t kMostDigits = 5;
  const bool digits = std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (text.empty() || text.size() > kMostDigits || !digits) return false;
  const int port = std::stoi(text);
  return port >= 1 && port <= 65535;
}

bool IsAddressOfVersion6(const std::string& host) {
  return host.find('[') != std::string::npos || std::count(host.begin(), host.end(), ':') > 1;
}

std::string ConsequenceOfPort() {
  const Configuration& record = *GetConfiguration();
  return record.Port == 0 ? " is read as port 0, so the second factor is off."
                          : " is read as port " + std::to_string(record.Port) + ".";
}

Severity SeverityOfPort() {
  return GetConfiguration()->Port == 0 ? Severity::Problem : Severity::Warning;
}

Finding Version6(const std::string& host) {
  return {"host.ipv6", SeverityOfPort(), "Host",
          "Host is " + PlainText(host) +
              ", an address of IP version 6. The first colon separates the port: what stands behind it" +
              ConsequenceOfPort(),
          "Give the service's name instead."};
}

Finding BadPort(const std::string& port) {
  return {
      "host.bad-port", SeverityOfPort(), "Host",
      "The port of Host, '" + PlainText(port) + "', is no number from 1 to 65535. It" + ConsequenceOfPort(),
      "Write a port from 1 to 65535 behind the colon, or leave out the colon for 443."};
}

}  // namespace

Findings JudgeHost() {
  std::string host;
  if (!TryGetStringSetting("Host", host)) return {};
  Findings findings;
  std::string bare = host;
  RemoveWhitespace(bare);
  if (bare != host && !bare.empty()) {
    findings.push_back({"host.blanks", Severity::Warning, "Host",
                        "Host is stored with blanks, '" + PlainText(host) +
                            "'. They are removed: " + PlainText(bare) + " counts.",
                        "Write it without blanks."});
  }
  const std::size_t colon = bare.find(':');
  if (IsAddressOfVersion6(bare)) {
    findings.push_back(Version6(bare));
  } else if (colon != std::string::npos && !IsPort(bare.substr(colon + 1))) {
    findings.push_back(BadPort(bare.substr(colon + 1)));
  }
  return findings;
}

}  // namespace FilterCheck
