// Settings that nobody would think of, loaded and decided on, against the naive model.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

#include "Anomaly/SettingsStorm/NaiveModel.h"
#include "Anomaly/Size.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvCredFilter/FilterFixture.h"
#include "KuvCredFilter/Providers.h"
#include "Module/LoadedFilter.h"

namespace {

using namespace KuvTest;

const std::vector<std::string>& Providers() {
  static const std::vector<std::string> providers{kPassword, kVendor,       kSmartCard,  kKuv,
                                                  kOther,    kKuvSmartCard, kV1SmartCard};
  return providers;
}

// Every other provider was allowed before.
std::vector<int> FlagsBefore() {
  std::vector<int> flags;
  while (flags.size() < Providers().size()) flags.push_back(flags.size() % 2 == 0 ? 7 : 0);
  return flags;
}

// Each turn asks another few of all questions.
std::vector<ModelQuestion> Questions(std::size_t turn) {
  std::vector<ModelQuestion> questions;
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

ModelRecord RecordInForce() {
  const Configuration& in = *GetConfiguration();
  ModelRecord out;
  out.Host = in.Host;
  out.Port = in.Port;
  out.IKey = in.IKey;
  out.SKey = in.SKey;
  out.HttpProxyHost = in.HttpProxyHost;
  out.HttpProxyPort = in.HttpProxyPort;
  out.OfflineMaxUsers = in.OfflineMaxUsers;
  out.InactivityTimeoutSeconds = in.InactivityTimeoutSeconds;
  out.ProvidersWhitelist = Texts(in.ProvidersWhitelist);
  out.FailOpen = in.FailOpen;
  out.AutoPush = in.AutoPush;
  out.local_ip_fallback = in.local_ip_fallback;
  out.EnableSmartCards = in.EnableSmartCards;
  out.WrapSmartCards = in.WrapSmartCards;
  out.OfflineAvailable = in.OfflineAvailable;
  out.ElevationOfflineEnable = in.ElevationOfflineEnable;
  out.ElevationOfflineEnrollment = in.ElevationOfflineEnrollment;
  out.ElevationProtectionMode = static_cast<std::uint32_t>(in.ElevationProtectionMode);
  out.UsernameFormat = static_cast<std::uint32_t>(in.UsernameFormat);
  return out;
}

std::string Show(const std::vector<int>& flags) {
  std::string text;
  for (const int flag : flags) text += " " + std::to_string(flag);
  return text;
}

std::string Show(const ModelRecord& record) {
  std::string text = record.Host + ":" + std::to_string(record.Port) + " IKey " + record.IKey + " SKey " +
                     record.SKey + " proxy " + record.HttpProxyHost + ":" +
                     std::to_string(record.HttpProxyPort) + " users " +
                     std::to_string(record.OfflineMaxUsers) + " timeout " +
                     std::to_string(record.InactivityTimeoutSeconds) + " flags";
  for (const bool flag : {record.FailOpen, record.AutoPush, record.local_ip_fallback, record.EnableSmartCards,
                          record.WrapSmartCards, record.OfflineAvailable, record.ElevationOfflineEnable,
                          record.ElevationOfflineEnrollment}) {
    text += flag ? '1' : '0';
  }
  text += " mode " + std::to_string(record.ElevationProtectionMode) + " format " +
          std::to_string(record.UsernameFormat);
  for (const std::string& provider : record.ProvidersWhitelist) text += " " + provider;
  return text;
}

std::optional<std::string> JudgeDecision(ICredentialProviderFilter* filter, const ModelQuestion& question,
                                         const NaiveModel& model) {
  std::vector<GUID> providers = Guids(Providers());
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

// What is wrong with these settings, if anything is.
using Verdict = std::function<std::optional<std::string>(const StoredSettings&, std::size_t turn)>;

// The first case that is judged wrong fails the test, cut down to what is needed for it.
void Storm(std::uint64_t cases, const Verdict& judge) {
  const std::uint64_t step = 0x9E3779B97F4A7C15;
  for (std::uint64_t number = 1; number <= cases; ++number) {
    StoredSettings settings = MakeSettings(number * step);
    std::optional<std::string> wrong = judge(settings, number);
    if (!wrong) continue;
    for (bool smaller = true; smaller;) {
      smaller = false;
      for (const StoredSettings& candidate : SmallerSettings(settings)) {
        std::optional<std::string> wrongToo = judge(candidate, number);
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

TEST_F(SettingsStorm, RecordAndDecisionsAreThoseOfTheModel) {
  std::uint64_t complete = 0;
  Storm(IsLong() ? 100000 : 5000,
        [&](const StoredSettings& settings, std::size_t turn) -> std::optional<std::string> {
          settings.Store();
          *GetConfiguration() = {};
          log.System().minLevel = LogLevel::Info;
          const NaiveModel model{settings};
          if (EnsureConfigurationLoaded() != model.Complete()) return "complete or not";
          if (model.Complete()) ++complete;
          if (RecordInForce() != model.Record())
            return "record " + Show(RecordInForce()) + "\nmodel  " + Show(model.Record());
          if (static_cast<int>(log.System().minLevel) != model.LogLevel()) return "log level";
          for (const ModelQuestion& question : Questions(turn)) {
            SetRemote(question.remote);
            if (const auto wrong = JudgeDecision(filter, question, model)) return wrong;
          }
          log.Clear();
          return std::nullopt;
        });
  // Neither kind is an exception.
  EXPECT_GT(complete, 1000u);
  EXPECT_LT(complete, IsLong() ? 99000u : 4000u);
}

TEST(SettingsStormOnTheDll, DecisionsAreThoseOfTheModel) {
  const RegistrySandbox registry;
  Storm(IsLong() ? 4000 : 50,
        [&](const StoredSettings& settings, std::size_t turn) -> std::optional<std::string> {
          settings.Store();
          const NaiveModel model{settings};
          const LoadedFilter dll;
          ImportHook<decltype(&::GetSystemMetrics)> metrics{dll.Module(), "GetSystemMetrics"};
          ICredentialProviderFilter* const filter = dll.CreateFilter();
          std::optional<std::string> wrong;
          for (const ModelQuestion& question : Questions(turn)) {
            metrics.Answer([&](int) { return question.remote ? 1 : 0; });
            wrong = JudgeDecision(filter, question, model);
            if (wrong) break;
          }
          filter->Release();
          return wrong;
        });
}

}  // namespace
