#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>
#include <ostream>

#include "KuvCredFilter/FilterFixture.h"
#include "Support/GuardedBuffer.h"

// Every combination of what a decision depends on, against the rule book below, which names for each
// situation what is left in the flags. The registry and the session answer from memory: there are some
// hundred thousand decisions.

namespace {

using namespace KuvTest;

constexpr DWORD kScenarios[] = {0, 1, 2, 3, 4, 5, 6, 7, 0xFFFFFFFF};
constexpr DWORD kFlags[] = {0, 0x100, 0xFFFFFEFF, 0xFFFFFFFF};
constexpr DWORD kModes[] = {0, 1, 2, 3};
constexpr std::optional<DWORD> kRdpOnly[] = {std::nullopt, 0u, 1u, 2u};

enum class Session { Local, RemoteByMetric, RemoteByNumber };
constexpr Session kSessions[] = {Session::Local, Session::RemoteByMetric, Session::RemoteByNumber};

struct Settings {
  const char* name;
  bool loadable;
  bool enableSmartCards;
  bool wrapSmartCards;
  const char* smartCardProvider;  // the one that the allowed list ends with
};
constexpr Settings kSettings[] = {
    {"loadable", true, false, true, nullptr},
    {"with smart cards", true, true, false, kSmartCard},
    {"with wrapped smart cards", true, true, true, kKuvSmartCard},
    {"not loadable", false, true, true, nullptr},
};

struct Installed {
  const char* name;
  Names providers;
};
const Installed kInstalled[] = {
    {"none of ours", {kPassword, kVendor, kSmartCard, kAlmostKuv}},
    {"the Kuv provider", {kKuv}},
    {"the Kuv smart card provider", {kKuvSmartCard}},
    {"both Kuv providers", {kKuvSmartCard, kKuv}},
    {"all", {kPassword, kVendor, kKuv, kSmartCard, kKuvSmartCard, kV1SmartCard, kOther}},
    {"duplicates", {kVendor, kKuv, kKuv, kVendor, kPassword, kPassword, kKuvSmartCard, kKuvSmartCard}},
    {"Kuv last", {kAlmostKuv, kPassword, kOther, kKuv}},
};
constexpr const char* kWhitelist[] = {kVendor, kVendor};

// Flags before the call; they repeat along the array.
constexpr BOOL kBefore[][2] = {{0, 0}, {1, 1}, {7, -1}, {-1, 0}};

struct Case {
  DWORD scenario;
  DWORD flags;
  DWORD mode;
  std::optional<DWORD> rdpOnly;
  Session session;
  const Settings* settings;
  const Installed* installed;

  bool Installs(const char* provider) const {
    return std::find(installed->providers.begin(), installed->providers.end(), provider) !=
           installed->providers.end();
  }
  bool Decided() const { return (Installs(kKuv) || Installs(kKuvSmartCard)) && settings->loadable; }
  bool Logon() const { return scenario == 1 || scenario == 2 || scenario == 3; }
  bool LogonProtected() const { return mode != 1; }
  bool ElevationProtected() const { return mode == 1 || mode == 2; }
  bool Prompt() const { return (flags & 0x100) != 0; }
  bool LocalAndRdpOnly() const { return session == Session::Local && rdpOnly == 1u; }
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << "scenario " << c.scenario << " flags 0x" << std::hex << c.flags << std::dec << " mode " << c.mode
       << " RdpOnly " << (c.rdpOnly ? static_cast<int>(*c.rdpOnly) : -1) << " session "
       << static_cast<int>(c.session) << ", settings " << c.settings->name
       << ", installed: " << c.installed->name;
}

enum class Effect { AsPassed, OnlyAllowed, AllButKuv };

struct Rule {
  const char* situation;
  bool (*applies)(const Case& c);
  Effect effect;
};
constexpr Rule kRules[] = {
    {"no Kuv provider installed",
     [](const Case& c) { return !c.Installs(kKuv) && !c.Installs(kKuvSmartCard); }, Effect::AsPassed},
    {"settings not loadable",
     [](const Case& c) { return (c.Installs(kKuv) || c.Installs(kKuvSmartCard)) && !c.settings->loadable; },
     Effect::AllButKuv},
    {"logon, only elevation is protected",
     [](const Case& c) { return c.Decided() && c.Logon() && !c.LogonProtected(); }, Effect::AsPassed},
    {"logon, remote or not only remote ones are protected",
     [](const Case& c) { return c.Decided() && c.Logon() && c.LogonProtected() && !c.LocalAndRdpOnly(); },
     Effect::OnlyAllowed},
    {"logon, local and only remote ones are protected",
     [](const Case& c) { return c.Decided() && c.Logon() && c.LogonProtected() && c.LocalAndRdpOnly(); },
     Effect::AllButKuv},
    {"elevation prompt, protected",
     [](const Case& c) { return c.Decided() && c.scenario == 4 && c.ElevationProtected() && c.Prompt(); },
     Effect::OnlyAllowed},
    {"other credential prompt, elevation is protected",
     [](const Case& c) { return c.Decided() && c.scenario == 4 && c.ElevationProtected() && !c.Prompt(); },
     Effect::AllButKuv},
    {"credential prompt, only logon is protected",
     [](const Case& c) { return c.Decided() && c.scenario == 4 && !c.ElevationProtected(); },
     Effect::AllButKuv},
    {"any other scenario", [](const Case& c) { return c.Decided() && (c.scenario == 0 || c.scenario > 4); },
     Effect::AllButKuv},
};

// Gives the one rule for the case; none or two of them would be a fault of the rule book.
const Rule& RuleOf(const Case& c) {
  const auto rule =
      std::find_if(std::begin(kRules), std::end(kRules), [&](const Rule& r) { return r.applies(c); });
  const auto matches =
      std::count_if(std::begin(kRules), std::end(kRules), [&](const Rule& r) { return r.applies(c); });
  if (matches != 1) throw std::logic_error{"not exactly one rule for a case"};
  return *rule;
}

BOOL ExpectedFlag(const Case& c, Effect effect, const std::string& provider, BOOL before) {
  switch (effect) {
    case Effect::AsPassed:
      return before;
    case Effect::AllButKuv:
      return provider == kKuv || provider == kKuvSmartCard ? 0 : 1;
    case Effect::OnlyAllowed:
      break;
  }
  const bool allowed =
      std::find(std::begin(kWhitelist), std::end(kWhitelist), provider) != std::end(kWhitelist) ||
      provider == kKuv ||
      (c.settings->smartCardProvider != nullptr && provider == c.settings->smartCardProvider);
  return allowed ? 1 : 0;
}

// A platform whose registry holds the settings of one case, and whose session is that of the case. The
// answers are those of the real one, made from memory.
class MadeUpMachine {
 public:
  MadeUpMachine(ImportHook<decltype(&::GetSystemMetrics)>& metrics, Session session, DWORD mode,
                std::optional<DWORD> rdpOnly) {
    metrics.Answer([=](int) { return session == Session::RemoteByMetric ? 1 : 0; });
    ownSession.Answer([=](DWORD, DWORD* number) {
      *number = session == Session::RemoteByNumber ? 5 : 4;
      return TRUE;
    });
    openA.Answer([](HKEY, const char* path, DWORD, REGSAM, HKEY* key) -> LSTATUS {
      if (std::strcmp(path, "Software\\Kuvant\\KuvCredProv") != 0) return ERROR_FILE_NOT_FOUND;
      *key = kKey;
      return ERROR_SUCCESS;
    });
    queryA.Answer([=](HKEY, const char* name, DWORD*, DWORD* type, BYTE* data, DWORD* size) -> LSTATUS {
      if (std::strcmp(name, "ElevationProtectionMode") == 0) return Give(mode, type, data, size);
      if (std::strcmp(name, "RdpOnly") == 0 && rdpOnly) return Give(*rdpOnly, type, data, size);
      return ERROR_FILE_NOT_FOUND;
    });
    openW.Answer([](HKEY, const wchar_t*, DWORD, REGSAM, HKEY* key) -> LSTATUS {
      *key = kKey;
      return ERROR_SUCCESS;
    });
    queryW.Answer([](HKEY, const wchar_t* name, DWORD*, DWORD* type, BYTE* data, DWORD* size) -> LSTATUS {
      if (std::wcscmp(name, L"GlassSessionId") != 0) return ERROR_FILE_NOT_FOUND;
      return Give(4, type, data, size);
    });
    close.Answer([](HKEY key) -> LSTATUS { return key == kKey ? ERROR_SUCCESS : ERROR_INVALID_HANDLE; });
  }

 private:
  static inline const HKEY kKey = reinterpret_cast<HKEY>(std::intptr_t{0x51});

  static LSTATUS Give(DWORD value, DWORD* type, BYTE* data, DWORD* size) {
    if (type != nullptr) *type = REG_DWORD;
    if (*size < sizeof(value)) return ERROR_MORE_DATA;
    std::memcpy(data, &value, sizeof(value));
    *size = sizeof(value);
    return ERROR_SUCCESS;
  }

  KUV_IMPORT_HOOK(ownSession, ProcessIdToSessionId);
  KUV_IMPORT_HOOK(openA, RegOpenKeyExA);
  KUV_IMPORT_HOOK(queryA, RegQueryValueExA);
  KUV_IMPORT_HOOK(openW, RegOpenKeyExW);
  KUV_IMPORT_HOOK(queryW, RegQueryValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
};

class FilterProduct : public FilterFixture {
 protected:
  FilterProduct() {
    log.System().minLevel = LogLevelPlain;
    for (const Installed& installed : kInstalled) {
      const std::vector<GUID> guids = Guids(installed.providers);
      arrays_.push_back({guids, GuardedBuffer<GUID>{guids.size()}, GuardedBuffer<BOOL>{guids.size()}});
    }
  }

  void SetSettings(const Settings& settings) {
    Configure({std::begin(kWhitelist), std::end(kWhitelist)});
    GetConfiguration()->EnableSmartCards = settings.enableSmartCards;
    GetConfiguration()->WrapSmartCards = settings.wrapSmartCards;
    if (!settings.loadable) GetConfiguration()->SKey.clear();
  }

  // Whether one decision answered and left what the rule book says. `index` is that of what is installed.
  bool Holds(const Case& c, std::size_t index, const BOOL (&before)[2], BOOL (&left)[16]) {
    const Arrays& arrays = arrays_[index];
    const std::size_t count = arrays.guids.size();
    const Effect effect = RuleOf(c).effect;
    std::copy(arrays.guids.begin(), arrays.guids.end(), arrays.providers.Get());
    for (std::size_t i = 0; i < count; ++i) arrays.allow.Get()[i] = before[i % 2];
    const HRESULT result =
        filter->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(c.scenario), c.flags,
                       arrays.providers.Get(), arrays.allow.Get(), static_cast<DWORD>(count));
    std::copy_n(arrays.allow.Get(), count, left);
    bool holds =
        result == S_OK && std::memcmp(arrays.providers.Get(), arrays.guids.data(), count * sizeof(GUID)) == 0;
    for (std::size_t i = 0; i < count; ++i) {
      holds = holds && left[i] == ExpectedFlag(c, effect, c.installed->providers[i], before[i % 2]);
    }
    return holds;
  }

 private:
  struct Arrays {
    std::vector<GUID> guids;
    GuardedBuffer<GUID> providers;
    GuardedBuffer<BOOL> allow;
  };
  std::vector<Arrays> arrays_;
};

TEST_F(FilterProduct, EveryCombinationLeavesWhatItsRuleSays) {
  std::size_t decisions = 0;
  std::size_t applied[std::size(kRules)] = {};
  for (const Settings& settings : kSettings) {
    for (const Session session : kSessions) {
      for (const DWORD mode : kModes) {
        for (const std::optional<DWORD>& rdpOnly : kRdpOnly) {
          const MadeUpMachine machine{metrics, session, mode, rdpOnly};
          for (const DWORD scenario : kScenarios) {
            for (const DWORD flags : kFlags) {
              for (std::size_t index = 0; index < std::size(kInstalled); ++index) {
                const Case c{scenario, flags, mode, rdpOnly, session, &settings, &kInstalled[index]};
                SetSettings(settings);
                for (const auto& before : kBefore) {
                  BOOL left[16] = {};
                  ++decisions;
                  ++applied[&RuleOf(c) - kRules];
                  ASSERT_TRUE(Holds(c, index, before, left))
                      << testing::PrintToString(c) << "\nrule: " << RuleOf(c).situation << ", flags before "
                      << before[0] << ',' << before[1] << ", left " << testing::PrintToString(left);
                }
              }
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(decisions, 9u * 4 * 4 * 4 * 3 * 4 * 7 * 4);
  for (std::size_t i = 0; i < std::size(kRules); ++i) EXPECT_GT(applied[i], 0u) << kRules[i].situation;
}

}  // namespace
