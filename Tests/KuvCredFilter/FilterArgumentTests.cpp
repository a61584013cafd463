#include <numeric>

#include "KuvCredFilter/FilterFixture.h"
#include "Support/GuardedBuffer.h"

namespace {

using namespace KuvTest;

class FilterArguments : public FilterFixture {
 protected:
  FilterArguments() { Configure(); }

  HRESULT Ask(GUID* providers, BOOL* allow, DWORD count) {
    return filter->Filter(CPUS_LOGON, 0, providers, allow, count);
  }

  GUID kuv = Guid(kKuv);
  BOOL flag = 7;
};

TEST_F(FilterArguments, RejectsNullArraysAndNoProviders) {
  struct Row {
    GUID* providers;
    BOOL* allow;
    DWORD count;
    const char* message;
  };
  const Row rows[] = {
      {nullptr, &flag, 1, "Filter exiting due to invalid param clsidProviders 1/bAllow 0/provider count 1"},
      {&kuv, nullptr, 1, "Filter exiting due to invalid param clsidProviders 0/bAllow 1/provider count 1"},
      {&kuv, &flag, 0, "Filter exiting due to invalid param clsidProviders 0/bAllow 0/provider count 0"},
      {nullptr, nullptr, 5, "Filter exiting due to invalid param clsidProviders 1/bAllow 1/provider count 5"},
      {nullptr, &flag, 0, "Filter exiting due to invalid param clsidProviders 1/bAllow 0/provider count 0"},
      {&kuv, nullptr, 0, "Filter exiting due to invalid param clsidProviders 0/bAllow 1/provider count 0"},
      {nullptr, nullptr, 0, "Filter exiting due to invalid param clsidProviders 1/bAllow 1/provider count 0"},
      {nullptr, nullptr, 0xFFFFFFFF,
       "Filter exiting due to invalid param clsidProviders 1/bAllow 1/provider count -1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    log.Clear();
    EXPECT_EQ(static_cast<unsigned>(Ask(row.providers, row.allow, row.count)), 0x80070057u);
    EXPECT_EQ(flag, 7);
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Trace, "Entering CKuvCredFilter::Filter"},
                                     {LogLevel::Info, row.message}}));
  }
}

TEST_F(FilterArguments, LogsARejectionAtInfo) {
  log.System().minLevel = LogLevel::Info;
  Ask(nullptr, &flag, 2);
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Info,
                       "Filter exiting due to invalid param clsidProviders 1/bAllow 0/provider count 2"}}));
  log.Clear();
  log.System().minLevel = LogLevel::Warning;
  Ask(nullptr, &flag, 2);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(FilterArguments, RejectsWithoutAPlatformCall) {
  *GetConfiguration() = Configuration{};
  KUV_IMPORT_HOOK(openA, RegOpenKeyExA);
  KUV_IMPORT_HOOK(openW, RegOpenKeyExW);
  Ask(nullptr, &flag, 1);
  Ask(&kuv, nullptr, 1);
  Ask(&kuv, &flag, 0);
  EXPECT_EQ(openA.CallCount(), 0u);
  EXPECT_EQ(openW.CallCount(), 0u);
  EXPECT_EQ(metrics.CallCount(), 0u);
}

TEST_F(FilterArguments, RejectsWithoutALog) {
  g_logSystem = nullptr;
  EXPECT_EQ(Ask(&kuv, nullptr, 1), E_INVALIDARG);
}

TEST_F(FilterArguments, AcceptsOneProvider) {
  EXPECT_EQ(Filter({.providers = {kKuv}}), (std::vector<BOOL>{1}));
  EXPECT_EQ(Filter({.providers = {kVendor}}), (std::vector<BOOL>{7}));
}

TEST_F(FilterArguments, AcceptsThousandsOfProviders) {
  Names providers(5000, kVendor);
  providers.back() = kKuv;
  std::vector<BOOL> expected(5000, 0);
  expected.back() = 1;
  log.System().minLevel = LogLevel::Info;
  EXPECT_EQ(Filter({.providers = providers}), expected);
}

}  // namespace
