// Generated settings, loaded and decided on, compared with the model.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

#include "Anomaly/SettingsStorm/SettingsModel.h"
#include "Anomaly/Size.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvCredFilter/FilterFixture.h"
#include "Support/FilterModule.h"
#include "Support/Providers.h"
#include "Support/TempFolder.h"

namespace {

using namespace KuvTest;

const std::vector<GUID>& Providers() {
  static const std::vector<GUID> providers =
      Guids({kPassword, kVendor, kSmartCard, kKuv, kOther, kKuvSmartCard, kV1SmartCard});
  return providers;
}

// Every other provider is allowed before.
std::vector<int> FlagsBefore() {
  std::vector<int> flags;
  while (flags.size() < Providers().size()) flags.push_back(flags.size() % 2 == 0 ? 7 : 0);
  return flags;
}

// Each turn uses four of all questions.
std::vector<Question> Questions(std::size_t turn) {
  std::vector<Question> questions;
  for (const bool remote : {false, true}) {
    for (const std::uint32_t scenario : {0u, 1u, 2u, 3u, 4u, 5u, 6u})
      questions.push_back({scenario, 0, remote});
    questions.push_back({CPUS_CREDUI, 0x100, remote});
    questions.push_back({CPUS_LOGON, 0xFFFFFFFF, remote});
  }
  const auto first = static_cast<std::ptrdiff_t>(turn % questions.size());
  std::rotate(questions.begin(), questions.begin() + first, questions.end());
  questions.resize(4);
  return questions;
}

SettingsRecord RecordInForce() {
  const Configuration& in = *GetConfiguration();
  SettingsRecord out{
      {"Host", in.Host}, {"IKey", in.IKey}, {"SKey", in.SKey}, {"HttpProxyHost", in.HttpProxyHost}};
#define KUV_NUMBER(field) out[#field] = std::to_string(static_cast<std::uint32_t>(in.field))
  KUV_NUMBER(Port);
  KUV_NUMBER(HttpProxyPort);
  KUV_NUMBER(OfflineMaxUsers);
  KUV_NUMBER(InactivityTimeoutSeconds);
  KUV_NUMBER(ElevationProtectionMode);
  KUV_NUMBER(UsernameFormat);
  KUV_NUMBER(FailOpen);
  KUV_NUMBER(AutoPush);
  KUV_NUMBER(local_ip_fallback);
  KUV_NUMBER(EnableSmartCards);
  KUV_NUMBER(WrapSmartCards);
  KUV_NUMBER(OfflineAvailable);
  KUV_NUMBER(ElevationOfflineEnable);
  KUV_NUMBER(ElevationOfflineEnrollment);
#undef KUV_NUMBER
  for (const GUID& provider : in.ProvidersWhitelist) out["ProvidersWhitelist"] += Text(provider) + " ";
  return out;
}

std::string Show(const std::vector<int>& flags) {
  std::string text;
  for (const int flag : flags) text += " " + std::to_string(flag);
  return text;
}

std::string Show(const SettingsRecord& record) {
  std::string text;
  for (const auto& [name, value] : record) text += name + " '" + value + "' ";
  return text;
}

// Returns the difference from the model, if any.
std::optional<std::string> CheckDecision(ICredentialProviderFilter* filter, const Question& question,
                                         const SettingsModel& model) {
  std::vector<GUID> providers = Providers();
  std::vector<int> flags = FlagsBefore();
  const HRESULT result =
      filter->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(question.scenario), question.flags,
                     providers.data(), flags.data(), static_cast<DWORD>(flags.size()));
  const std::vector<int> expected = model.Decide(question, Providers(), FlagsBefore());
  if (result == S_OK && flags == expected) return std::nullopt;
  return "scenario " + std::to_string(question.scenario) + " flags " + std::to_string(question.flags) +
         " remote " + std::to_string(question.remote) + ": result " + std::to_string(result) + " flags" +
         Show(flags) + ", model" + Show(expected);
}

// Returns the error that these settings show, if any.
using Check = std::function<std::optional<std::string>(const StoredSettings&, std::size_t turn)>;

// Fails the test at the first error and shows the smallest settings with an error.
void Storm(std::uint64_t cases, const Check& check) {
  const std::uint64_t step = 0x9E3779B97F4A7C15;
  for (std::uint64_t number = 1; number <= cases; ++number) {
    StoredSettings settings = MakeSettings(number * step);
    std::optional<std::string> wrong = check(settings, number);
    if (!wrong) continue;
    for (bool smaller = true; smaller;) {
      smaller = false;
      for (const StoredSettings& candidate : SmallerSettings(settings)) {
        std::optional<std::string> wrongToo = check(candidate, number);
        if (!wrongToo) continue;
        wrong = std::move(wrongToo);
        settings = candidate;
        smaller = true;
        break;
      }
    }
    FAIL() << "seed " << number * step << "\n" << Describe(settings) << *wrong;
  }
  ::testing::Test::RecordProperty("cases", std::to_string(cases));
  std::printf("%llu settings\n", static_cast<unsigned long long>(cases));
}

class SettingsStorm : public FilterFixture {};

TEST_F(SettingsStorm, RecordAndDecisionsMatchTheModel) {
  std::uint64_t complete = 0;
  Storm(IsLong() ? 100000 : 5000,
        [&](const StoredSettings& settings, std::size_t turn) -> std::optional<std::string> {
          settings.Store();
          *GetConfiguration() = {};
          log.System().minLevel = LogLevel::Info;
          const SettingsModel model{settings};
          if (EnsureConfigurationLoaded() != model.Complete()) return "complete or not";
          if (model.Complete()) ++complete;
          if (RecordInForce() != model.Record())
            return "record " + Show(RecordInForce()) + "\nmodel  " + Show(model.Record());
          if (static_cast<int>(log.System().minLevel) != model.LogLevel()) return "log level";
          for (const Question& question : Questions(turn)) {
            SetRemote(question.remote);
            if (const auto wrong = CheckDecision(filter, question, model)) return wrong;
          }
          log.Clear();
          return std::nullopt;
        });
  // Both kinds are frequent.
  EXPECT_GT(complete, 1000u);
  EXPECT_LT(complete, IsLong() ? 99000u : 4000u);
}

TEST(SettingsStormOnTheDll, DecisionsMatchTheModel) {
  const RegistrySandbox registry;
  const TempFolder appData;
  Storm(IsLong() ? 4000 : 50,
        [&](const StoredSettings& settings, std::size_t turn) -> std::optional<std::string> {
          settings.Store();
          const SettingsModel model{settings};
          const LiveFilter dll{appData.Path()};
          ImportHook<decltype(&::GetSystemMetrics)> metrics{dll.Module().Get(), "GetSystemMetrics"};
          for (const Question& question : Questions(turn)) {
            metrics.Answer([&](int) { return question.remote ? 1 : 0; });
            if (const auto wrong = CheckDecision(&dll.Filter(), question, model)) return wrong;
          }
          return std::nullopt;
        });
}

}  // namespace
