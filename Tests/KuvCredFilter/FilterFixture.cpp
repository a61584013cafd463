#include "KuvCredFilter/FilterFixture.h"

#include <algorithm>

#include "KuvCredFilter/KuvCredFilter.h"
#include "KuvCredFilter/Module.h"
#include "Support/GuardedBuffer.h"

namespace KuvTest {

FilterFixture::FilterFixture() {
  SetRemote(false);
  void* object = nullptr;
  EXPECT_EQ(CKuvCredFilter_CreateInstance(Guid(kICredentialProviderFilter), &object), S_OK);
  filter = static_cast<ICredentialProviderFilter*>(object);
  log.Clear();
}

FilterFixture::~FilterFixture() {
  EXPECT_EQ(filter->Release(), 0u);
  EXPECT_EQ(g_moduleCount.load(), 0);
}

Configuration& FilterFixture::Configure(const Names& whitelist) {
  Configuration& configuration = *GetConfiguration();
  configuration.Host = "host.example";
  configuration.Port = 443;
  configuration.IKey = "ikey";
  configuration.SKey = "skey";
  configuration.ProvidersWhitelist = Guids(whitelist);
  return configuration;
}

void FilterFixture::SetRemote(bool remote) {
  metrics.Answer([remote](int index) { return index == 0x1000 && remote ? 1 : 0; });
}

std::vector<BOOL> FilterFixture::Filter(const FilterCall& call) {
  const std::vector<GUID> guids = Guids(call.providers);
  const GuardedBuffer<GUID> providers{guids.size()};
  const GuardedBuffer<BOOL> allow{guids.size()};
  std::copy(guids.begin(), guids.end(), providers.Get());
  DWORD before = 0;
  ::VirtualProtect(providers.Get(), guids.size() * sizeof(GUID), PAGE_READONLY, &before);
  std::fill_n(allow.Get(), guids.size(), 7);
  std::copy(call.allow.begin(), call.allow.end(), allow.Get());
  EXPECT_EQ(filter->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(call.scenario), call.flags,
                           providers.Get(), allow.Get(), static_cast<DWORD>(guids.size())),
            S_OK);
  return {allow.Get(), allow.Get() + guids.size()};
}

void FilterFixture::ExpectDecision(const FilterCall& call, const std::vector<BOOL>& allow,
                                   const LogLines& decision, const LogLines& report) {
  for (const LogLevel level : {LogLevel::Trace, LogLevel::Debug, LogLevel::Info}) {
    SCOPED_TRACE(testing::Message() << "log level " << static_cast<int>(level));
    LogLines expected;
    std::copy_if(decision.begin(), decision.end(), std::back_inserter(expected),
                 [=](const LogLine& line) { return line.level >= level; });
    if (level <= LogLevel::Debug) expected.insert(expected.end(), report.begin(), report.end());
    log.System().minLevel = level;
    log.Clear();
    EXPECT_EQ(Filter(call), allow);
    EXPECT_EQ(log.Lines(), expected);
  }
}

}  // namespace KuvTest
