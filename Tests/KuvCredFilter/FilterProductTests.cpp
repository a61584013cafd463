#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <ostream>

#include "KuvCredFilter/FilterFixture.h"
#include "Support/DecisionModel.h"
#include "Support/GuardedBuffer.h"

// Every combination of what a decision depends on, compared with the decision model. The registry and the
// session are simulated in memory, because there are several hundred thousand decisions.

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
};
constexpr Settings kSettings[] = {
    {"loadable", true, false, true},
    {"with smart cards", true, true, false},
    {"with wrapped smart cards", true, true, true},
    {"not loadable", false, true, true},
};

struct Installed {
  const char* name;
  Names providers;
};
const Installed kInstalled[] = {
    {"no Kuv provider", {kPassword, kVendor, kSmartCard, kAlmostKuv}},
    {"the Kuv provider", {kKuv}},
    {"the Kuv smart card provider", {kKuvSmartCard}},
    {"both Kuv providers", {kKuvSmartCard, kKuv}},
    {"all", {kPassword, kVendor, kKuv, kSmartCard, kKuvSmartCard, kV1SmartCard, kOther}},
    {"duplicates", {kVendor, kKuv, kKuv, kVendor, kPassword, kPassword, kKuvSmartCard, kKuvSmartCard}},
    {"Kuv last", {kAlmostKuv, kPassword, kOther, kKuv}},
};
const std::vector<GUID> kWhitelist = {kVendorProvider, kVendorProvider};

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

  DecisionFacts Facts(bool kuvInstalled) const {
    return {kuvInstalled,  settings->loadable,       scenario, flags, mode,
            rdpOnly == 1u, session != Session::Local};
  }
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << "scenario " << c.scenario << " flags 0x" << std::hex << c.flags << std::dec << " mode " << c.mode
       << " RdpOnly " << (c.rdpOnly ? static_cast<int>(*c.rdpOnly) : -1) << " session "
       << static_cast<int>(c.session) << ", settings " << c.settings->name
       << ", installed: " << c.installed->name;
}

// A simulated platform with the settings and the session of one case.
class FakeMachine {
 public:
  FakeMachine(ImportHook<decltype(&::GetSystemMetrics)>& metrics, Session session, DWORD mode,
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
      if (std::strcmp(name, "ElevationProtectionMode") == 0) return Return(mode, type, data, size);
      if (std::strcmp(name, "RdpOnly") == 0 && rdpOnly) return Return(*rdpOnly, type, data, size);
      return ERROR_FILE_NOT_FOUND;
    });
    openW.Answer([](HKEY, const wchar_t*, DWORD, REGSAM, HKEY* key) -> LSTATUS {
      *key = kKey;
      return ERROR_SUCCESS;
    });
    queryW.Answer([](HKEY, const wchar_t* name, DWORD*, DWORD* type, BYTE* data, DWORD* size) -> LSTATUS {
      if (std::wcscmp(name, L"GlassSessionId") != 0) return ERROR_FILE_NOT_FOUND;
      return Return(4, type, data, size);
    });
    close.Answer([](HKEY key) -> LSTATUS { return key == kKey ? ERROR_SUCCESS : ERROR_INVALID_HANDLE; });
  }

 private:
  static inline const HKEY kKey = reinterpret_cast<HKEY>(std::intptr_t{0x51});

  static LSTATUS Return(DWORD value, DWORD* type, BYTE* data, DWORD* size) {
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
      arrays_.push_back({guids, std::any_of(guids.begin(), guids.end(), IsKuv),
                         GuardedBuffer<GUID>{guids.size()}, GuardedBuffer<BOOL>{guids.size()}});
    }
  }

  void SetSettings(const Settings& settings) {
    Configure();
    GetConfiguration()->ProvidersWhitelist = kWhitelist;
    GetConfiguration()->EnableSmartCards = settings.enableSmartCards;
    GetConfiguration()->WrapSmartCards = settings.wrapSmartCards;
    if (!settings.loadable) GetConfiguration()->SKey.clear();
  }

  const DecisionRule& Rule(const Case& c, std::size_t index) const {
    return RuleFor(c.Facts(arrays_[index].kuvInstalled));
  }

  // Returns whether the result and the flags of a decision are those that the model expects. `index` is that
  // of the installed providers.
  bool Matches(const Case& c, std::size_t index, const std::vector<GUID>& allowed, const BOOL (&before)[2],
               BOOL (&left)[16]) {
    const Arrays& arrays = arrays_[index];
    const std::size_t count = arrays.guids.size();
    const Outcome outcome = Rule(c, index).outcome;
    std::copy(arrays.guids.begin(), arrays.guids.end(), arrays.providers.Get());
    for (std::size_t i = 0; i < count; ++i) arrays.allow.Get()[i] = before[i % 2];
    const HRESULT result =
        filter->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(c.scenario), c.flags,
                       arrays.providers.Get(), arrays.allow.Get(), static_cast<DWORD>(count));
    std::copy_n(arrays.allow.Get(), count, left);
    bool matches =
        result == S_OK && std::memcmp(arrays.providers.Get(), arrays.guids.data(), count * sizeof(GUID)) == 0;
    for (std::size_t i = 0; i < count; ++i) {
      matches = matches && left[i] == ExpectedFlag(outcome, arrays.guids[i], allowed, before[i % 2]);
    }
    return matches;
  }

 private:
  struct Arrays {
    std::vector<GUID> guids;
    bool kuvInstalled;
    GuardedBuffer<GUID> providers;
    GuardedBuffer<BOOL> allow;
  };
  std::vector<Arrays> arrays_;
};

TEST_F(FilterProduct, EveryCombinationMatchesTheModel) {
  std::size_t decisions = 0;
  std::map<const DecisionRule*, std::size_t> applied;
  for (const Settings& settings : kSettings) {
    const std::vector<GUID> allowed =
        ExpectedAllowed(kWhitelist, settings.enableSmartCards, settings.wrapSmartCards);
    for (const Session session : kSessions) {
      for (const DWORD mode : kModes) {
        for (const std::optional<DWORD>& rdpOnly : kRdpOnly) {
          const FakeMachine machine{metrics, session, mode, rdpOnly};
          for (const DWORD scenario : kScenarios) {
            for (const DWORD flags : kFlags) {
              for (std::size_t index = 0; index < std::size(kInstalled); ++index) {
                const Case c{scenario, flags, mode, rdpOnly, session, &settings, &kInstalled[index]};
                SetSettings(settings);
                for (const auto& before : kBefore) {
                  BOOL left[16] = {};
                  ++decisions;
                  ++applied[&Rule(c, index)];
                  ASSERT_TRUE(Matches(c, index, allowed, before, left))
                      << testing::PrintToString(c) << "\nrule: " << Rule(c, index).situation
                      << ", flags before " << before[0] << ',' << before[1] << ", left "
                      << testing::PrintToString(left);
                }
              }
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(decisions, 9u * 4 * 4 * 4 * 3 * 4 * 7 * 4);
  for (const DecisionRule& rule : DecisionRules()) EXPECT_GT(applied[&rule], 0u) << rule.situation;
}

}  // namespace
