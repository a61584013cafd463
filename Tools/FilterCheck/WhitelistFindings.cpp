#include <algorithm>

#include <objbase.h>

#include "FilterCheck/PlainText.h"
#include "FilterCheck/SettingFindings.h"
#include "FilterHost/Identifier.h"

namespace FilterCheck {

namespace {

constexpr char kWhitelist[] = "ProvidersWhitelist";

Finding NoIdentifier(const std::wstring& entry) {
  return {"whitelist.no-identifier", Severity::Warning, kWhitelist,
          "The entry '" + PlainText(entry) +
              "' is no class identifier. It is passed over: that provider does not stay.",
          "Write the identifier in braces, for example {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}."};
}

Finding Repeated(const GUID& provider) {
  return {"whitelist.repeated", Severity::Warning, kWhitelist,
          "The entry " + FilterHost::IdentifierText(provider) +
              " stands in the list more than once, and takes the place of others.",
          "Keep one of them."};
}

Finding NotInstalled(const GUID& provider) {
  return {"whitelist.not-installed", Severity::Warning, kWhitelist,
          "The entry " + FilterHost::IdentifierText(provider) +
              " names a provider that is not installed on this machine, so it has no effect.",
          "Check the identifier, install the provider, or take the entry off the list."};
}

bool IsInstalled(const GUID& identifier, const FilterHost::ProviderList& providers) {
  return std::any_of(providers.begin(), providers.end(),
                     [&](const FilterHost::Provider& provider) { return provider.identifier == identifier; });
}

}  // namespace

Findings JudgeWhitelist(const JudgedSettings& settings, const FilterHost::ProviderList& providers) {
  const RawValue* const list = InForce(Judged(settings, kWhitelist));
  if (list == nullptr) return {};
  Findings findings;
  std::vector<GUID> seen;
  for (const std::wstring& entry : Strings(*list)) {
    GUID identifier{};
    // What the library asks too.
    if (::CLSIDFromString(entry.c_str(), &identifier) != S_OK) {
      findings.push_back(NoIdentifier(entry));
      continue;
    }
    if (std::count(seen.begin(), seen.end(), identifier) == 1) findings.push_back(Repeated(identifier));
    if (std::count(seen.begin(), seen.end(), identifier) == 0 && !IsInstalled(identifier, providers))
      findings.push_back(NotInstalled(identifier));
    seen.push_back(identifier);
  }
  return findings;
}

}  // namespace FilterCheck
