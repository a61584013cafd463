#include <objbase.h>

#include <algorithm>

#include "Common/Identifier.h"
#include "Common/PlainText.h"
#include "FilterCheck/Judgment/SettingFindings.h"

namespace FilterCheck {

namespace {

using Tools::IdentifierText;
using Tools::PlainText;

constexpr char kWhitelist[] = "ProvidersWhitelist";

Finding InvalidIdentifier(const std::wstring& entry) {
  return {"whitelist.invalid-identifier", Severity::Warning, kWhitelist,
          "The entry '" + PlainText(entry) + "' is not a class identifier, so the filter ignores it.",
          "Enter the identifier in braces, for example {D6886603-9D2F-4EB2-B667-1971041FA96B}."};
}

Finding Duplicate(const GUID& provider) {
  return {"whitelist.duplicate", Severity::Warning, kWhitelist,
          "The entry " + IdentifierText(provider) + " is in the list more than once and takes up space.",
          "Keep one of them."};
}

Finding NotInstalled(const GUID& provider) {
  return {"whitelist.not-installed", Severity::Warning, kWhitelist,
          "The entry " + IdentifierText(provider) +
              " names a provider that is not installed on this machine, so it has no effect.",
          "Check the identifier, install the provider, or remove the entry."};
}

bool IsInstalled(const GUID& identifier, const Tools::ProviderList& providers) {
  return std::any_of(providers.begin(), providers.end(),
                     [&](const Tools::Provider& provider) { return provider.identifier == identifier; });
}

}  // namespace

Findings JudgeWhitelist(const JudgedSettings& settings, const Tools::ProviderList& providers) {
  const RawValue* const list = InForce(Judged(settings, kWhitelist));
  if (list == nullptr) return {};
  Findings findings;
  std::vector<GUID> seen;
  for (const std::wstring& entry : Strings(*list)) {
    GUID identifier{};
    // The library parses entries the same way.
    if (::CLSIDFromString(entry.c_str(), &identifier) != S_OK) {
      findings.push_back(InvalidIdentifier(entry));
      continue;
    }
    if (std::count(seen.begin(), seen.end(), identifier) == 1) findings.push_back(Duplicate(identifier));
    if (std::count(seen.begin(), seen.end(), identifier) == 0 && !IsInstalled(identifier, providers))
      findings.push_back(NotInstalled(identifier));
    seen.push_back(identifier);
  }
  return findings;
}

}  // namespace FilterCheck
