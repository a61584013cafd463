#include "FilterCheck/Judgment/RegistrationFindings.h"

#include <algorithm>

#include "Common/Identifier.h"
#include "FilterCheck/Model/StockProviders.h"
#include "KuvAuth/Support/Text.h"
#include "KuvCredFilter/Identifiers.h"

namespace FilterCheck {

namespace {

using Tools::IdentifierText;
using Tools::ParseIdentifier;

// A fault of the 64-bit entry is more severe: the logon screen is a 64-bit program.
Severity FaultOf(const RegisteredFilter& filter) noexcept {
  return filter.wow64 ? Severity::Warning : Severity::Problem;
}

std::string ViewName(bool wow64) {
  return wow64 ? "32-bit view" : "64-bit view";
}

std::string Consequence(const RegisteredFilter& filter) {
  return filter.wow64 ? " 32-bit programs that show the credential dialog are not filtered."
                      : " Windows does not load the filter, so the second factor is not required.";
}

std::string RegisterAgain(const RegisteredFilter& filter) {
  return filter.wow64
             ? "Register the 32-bit DLL again: run %SystemRoot%\\SysWOW64\\regsvr32.exe with its path."
             : "Register the filter again: run regsvr32 with the path of KuvCredFilter.dll.";
}

void AddFault(const RegisteredFilter& filter, const char* id, const std::string& text, Findings& findings) {
  findings.push_back(
      {id, FaultOf(filter), ViewName(filter.wow64), text + Consequence(filter), RegisterAgain(filter)});
}

// Reports a view without a class key.
void JudgeAbsence(const RegisteredFilter& filter, const RegisteredFilter& otherView, Findings& findings) {
  if (filter.onlyForThisUser) {
    AddFault(filter, "registration.per-user-class",
             "The class key exists for the current user only, where the logon process does not look.",
             findings);
  } else if (filter.inFilterList) {
    AddFault(filter, "registration.class-missing",
             "The filter is in the list of filters, but its class key is missing.", findings);
  } else if (!filter.wow64) {
    findings.push_back(
        {"registration.not-registered", Severity::Problem, ViewName(/*wow64=*/false),
         otherView.module
             ? "The filter is registered for 32-bit programs only, but the logon screen is a 64-bit "
               "program. Windows does not load the filter, so the second factor is not required."
             : "The filter is not registered. Windows does not load it, so the second factor is not "
               "required.",
         "Register the filter: run %SystemRoot%\\System32\\regsvr32.exe with the path of "
         "KuvCredFilter.dll."});
  } else if (otherView.module) {
    findings.push_back(
        {"registration.32-bit-missing", Severity::Note, ViewName(/*wow64=*/true),
         "The filter is not registered for 32-bit programs. Those that show the credential dialog are not "
         "filtered and also offer the Kuv provider. The logon screen and elevation prompts are 64-bit "
         "programs and are not affected.",
         "If this matters to you, register the 32-bit DLL: run %SystemRoot%\\SysWOW64\\regsvr32.exe with its "
         "path."});
  }
}

void JudgeModule(const RegisteredFilter& filter, Findings& findings) {
  const std::string& module = *filter.module;
  if (module.empty()) {
    AddFault(filter, "registration.module-missing", "The class key does not name a module.", findings);
  } else if (!filter.moduleExists) {
    AddFault(filter, "registration.module-missing", "The module does not exist: " + module + ".", findings);
  } else if (!filter.architectureFits) {
    AddFault(filter, "registration.wrong-architecture",
             "The module is not an " + filter.architecture + " DLL or cannot be read: " + module + ".",
             findings);
  } else if (filter.sameAsBeside == false) {
    findings.push_back(
        {"registration.other-module", Severity::Warning, ViewName(filter.wow64),
         "The registered module is not the DLL that was installed with this program, so it may be "
         "another version: " +
             module + ".",
         "Run the KuvFilterCheck of the installed version, or register the DLL next to this program."});
  }
}

void JudgeView(const RegisteredFilter& filter, const RegisteredFilter& otherView, Findings& findings) {
  if (!filter.module) {
    JudgeAbsence(filter, otherView, findings);
    return;
  }
  if (!filter.inFilterList) {
    AddFault(filter, "registration.not-listed",
             "The class key exists, but the filter is not in the list of filters.", findings);
  }
  JudgeModule(filter, findings);
  if (ToLowerAscii(filter.threadingModel) != "apartment") {
    findings.push_back(
        {"registration.threading-model", Severity::Warning, ViewName(filter.wow64),
         "ThreadingModel of the class is '" + filter.threadingModel + "'. The filter requires 'Apartment'.",
         RegisterAgain(filter)});
  }
}

// The GenericFilter of Windows, which every machine has.
constexpr GUID kStockFilter{0xDDC0EED2, 0xADBE, 0x40B6, {0xA2, 0x17, 0xED, 0xE1, 0x6A, 0x79, 0xA0, 0xDE}};

void JudgeOtherFilter(const OtherFilter& other, Findings& findings) {
  const std::string subject = other.name.empty() ? other.identifier : other.name + " " + other.identifier;
  const std::string where = "the list of filters of the " + ViewName(other.wow64);
  if (other.module.empty() || !other.moduleExists) {
    findings.push_back({"registration.stale-filter", Severity::Warning, subject,
                        "This entry in " + where + " is not valid: " +
                            (other.module.empty() ? "its class key is missing or does not name a module."
                                                  : "its module does not exist: " + other.module + "."),
                        "If its product is uninstalled, delete the entry from the list."});
  } else if (ParseIdentifier(other.identifier) != kStockFilter) {
    findings.push_back(
        {"registration.other-filter", Severity::Note, subject,
         "Another filter is in " + where + ": " + other.module +
             ". Windows calls the filters one after the other, and each can change the result "
             "of those before it. In a protected or unprotected scenario, the Kuv filter decides "
             "on every provider, so it may show one that an earlier filter hid. A later filter "
             "may hide a Kuv provider, or show one that the Kuv filter hid.",
         "Check the logon screen itself: this report covers the Kuv filter only."});
  }
}

void JudgePlatform(const Registration& registration, Findings& findings) {
  if (!registration.kuvProviderInstalled) {
    findings.push_back(
        {"provider.kuv-missing", Severity::Problem, IdentifierText(CLSID_KuvCredProv),
         registration.kuvSmartCardProviderInstalled
             ? "The Kuv credential provider is not installed or is disabled, but the Kuv smart card provider "
               "is "
               "installed, so the "
               "filter, if Windows loads it, hides all other providers where the settings protect the "
               "sign-in."
             : "The Kuv credential provider is not installed or is disabled, so the filter changes nothing "
               "and "
               "the second "
               "factor is not required.",
         "Install the Kuv credential provider, or delete the value Disabled of its key."});
  }
  if (registration.kuvProviderExcluded) {
    findings.push_back(
        {"platform.kuv-excluded", Severity::Problem, "ExcludedCredentialProviders",
         "The policy setting excludes the Kuv credential provider. The filter decides on every provider, so "
         "it may show the provider again. If it does not, only whitelisted providers are shown where the "
         "second factor is required, and without one, no one can sign in there.",
         "Remove " + IdentifierText(CLSID_KuvCredProv) +
             " from the policy setting 'Exclude credential providers'."});
  }
  if (registration.prohibitFallbacks == 1u) {
    findings.push_back(
        {"platform.fallbacks-prohibited", Severity::Note, "ProhibitFallbacks",
         "Windows applies the filter in safe mode as well, so safe mode does not help if no one can sign in.",
         "Prepare another way to recover: remote registry or the recovery environment."});
  }
}

std::string NameOf(const GUID& provider) {
  const std::string_view stock = StockProviderName(provider);
  return (stock.empty() ? std::string{} : std::string{stock} + " ") + IdentifierText(provider);
}

// The places where the filter hides the provider on the logon screen, as text.
std::string HiddenAt(const DecisionReport& report, std::size_t provider) {
  std::string places;
  for (const Decision& decision : report.decisions) {
    const bool screen = decision.scenario.name == "logon" || decision.scenario.name == "unlock";
    if (!screen || decision.enabled[provider]) continue;
    places.append(places.empty() ? "" : ", ").append(decision.scenario.name);
    places.append(decision.session == Session::Console ? " at the console" : " over Remote Desktop");
  }
  return places;
}

void JudgeDefaultProvider(const Registration& registration, const DecisionReport& report,
                          Findings& findings) {
  const std::optional<GUID> byDefault = ParseIdentifier(registration.defaultProvider);
  if (!byDefault) return;
  const Tools::ProviderList& providers = report.providers;
  const auto provider = std::find_if(providers.begin(), providers.end(), [&](const Tools::Provider& row) {
    return row.identifier == *byDefault;
  });
  if (provider == providers.end()) return;
  const std::string places = HiddenAt(report, static_cast<std::size_t>(provider - providers.begin()));
  if (places.empty()) return;
  findings.push_back(
      {"platform.default-provider-hidden", Severity::Warning, "DefaultCredentialProvider",
       "Windows is set to select " + NameOf(*byDefault) + " first, but the filter hides it: " + places +
           ". Windows selects another provider there.",
       "Set the policy setting 'Assign a default credential provider' to " +
           IdentifierText(CLSID_KuvCredProv) + ", or add the provider to ProvidersWhitelist."});
}

bool IsOn(const Situation& situation, std::string_view setting) {
  return std::any_of(situation.settings.begin(), situation.settings.end(), [&](const SettingState& state) {
    return state.setting->name == setting && state.effective == "1";
  });
}

void JudgeSmartCardProvider(const Registration& registration, const Situation& situation,
                            Findings& findings) {
  if (registration.kuvSmartCardProviderInstalled) return;
  if (!IsOn(situation, "EnableSmartCards") || !IsOn(situation, "WrapSmartCards")) return;
  findings.push_back({"provider.kuv-smart-card-missing", Severity::Warning,
                      IdentifierText(CLSID_KuvSmartCardCredProv),
                      "EnableSmartCards and WrapSmartCards are on, but the Kuv smart card provider is not "
                      "installed, so no one can sign in with a smart card where the second factor is "
                      "required.",
                      "Install the Kuv smart card provider, or set WrapSmartCards to 0."});
}

}  // namespace

bool IsLoadable(const RegisteredFilter& filter) noexcept {
  return filter.module && filter.inFilterList && filter.moduleExists && filter.architectureFits;
}

Findings JudgeRegistration(const Registration& registration) {
  Findings findings;
  JudgeView(registration.filter[0], registration.filter[1], findings);
  JudgeView(registration.filter[1], registration.filter[0], findings);
  for (const OtherFilter& other : registration.others) JudgeOtherFilter(other, findings);
  JudgePlatform(registration, findings);
  return findings;
}

Findings JudgeRegistration(const Registration& registration, const Situation& situation) {
  Findings findings;
  JudgeSmartCardProvider(registration, situation, findings);
  JudgeDefaultProvider(registration, situation.decision, findings);
  return findings;
}

}  // namespace FilterCheck
