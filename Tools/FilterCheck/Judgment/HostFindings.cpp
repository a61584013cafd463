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

bool IsIpv6Address(const std::string& host) {
  return host.find('[') != std::string::npos || std::count(host.begin(), host.end(), ':') > 1;
}

std::string ConsequenceOfPort() {
  const Configuration& record = *GetConfiguration();
  return record.Port == 0 ? " is read as port 0, so the second factor is not required."
                          : " is read as port " + std::to_string(record.Port) + ".";
}

Severity SeverityOfPort() {
  return GetConfiguration()->Port == 0 ? Severity::Problem : Severity::Warning;
}

Finding Ipv6(const std::string& host) {
  return {"host.ipv6", SeverityOfPort(), "Host",
          "Host is " + PlainText(host) +
              ", an IPv6 address. The first colon separates the port, so the text after it" +
              ConsequenceOfPort(),
          "Enter the host name of the service instead."};
}

Finding BadPort(const std::string& port) {
  return {"host.bad-port", SeverityOfPort(), "Host",
          "The port of Host, '" + PlainText(port) + "', is not a number from 1 to 65535. It" +
              ConsequenceOfPort(),
          "Enter a port from 1 to 65535 after the colon, or omit the colon to use port 443."};
}

}  // namespace

Findings JudgeHost() {
  std::string host;
  if (!TryGetStringSetting("Host", host)) return {};
  Findings findings;
  std::string bare = host;
  RemoveWhitespace(bare);
  if (bare != host && !bare.empty()) {
    findings.push_back({"host.white-space", Severity::Warning, "Host",
                        "Host contains white space: '" + PlainText(host) +
                            "'. The filter removes it and uses " + PlainText(bare) + ".",
                        "Remove the white space."});
  }
  const std::size_t colon = bare.find(':');
  if (IsIpv6Address(bare)) {
    findings.push_back(Ipv6(bare));
  } else if (colon != std::string::npos && !IsPort(bare.substr(colon + 1))) {
    findings.push_back(BadPort(bare.substr(colon + 1)));
  }
  return findings;
}

}  // namespace FilterCheck
