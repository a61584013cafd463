#include <cstring>

#include <gmock/gmock.h>

#include "Tools/FilterHost/HostFixture.h"

namespace {

using KuvTest::HostRun;
using KuvTest::kPasswordText;
using KuvTest::RunHost;
using KuvTest::RunHostJson;

// Another filter, with results that our filter never returns. It is on the stack of the test.
class ForeignFilter final : public ICredentialProviderFilter {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }

  HRESULT STDMETHODCALLTYPE Filter(CREDENTIAL_PROVIDER_USAGE_SCENARIO, DWORD, GUID*, BOOL*, DWORD) override {
    return filterResult;
  }

  HRESULT STDMETHODCALLTYPE
  UpdateRemoteCredential(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* offered,
                         CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* taken) override {
    *taken = *offered;
    taken->rgbSerialization = static_cast<BYTE*>(::CoTaskMemAlloc(offered->cbSerialization));
    std::memcpy(taken->rgbSerialization, offered->rgbSerialization, offered->cbSerialization);
    change(*taken);
    return S_OK;
  }

  ULONG references = 0;
  HRESULT filterResult = S_OK;
  void (*change)(CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& taken) = nullptr;
};

class FilterHostForeignFilter : public KuvTest::FilterHostFixture {
 protected:
  FilterHostForeignFilter() : create("CoCreateInstance") {
    create.Answer([this](REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID* object) {
      filter.AddRef();
      *object = &filter;
      return S_OK;
    });
    Install(kPasswordText, L"Password");
  }

  ForeignFilter filter;
  KuvTest::ImportHook<decltype(&::CoCreateInstance)> create;
};

TEST_F(FilterHostForeignFilter, ShowsFailureInTable) {
  filter.filterResult = E_ACCESSDENIED;
  const HostRun run = RunHost({L"--scenario", L"logon"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, ::testing::EndsWith("\nFilter result  0x80070005\n"));
}

TEST_F(FilterHostForeignFilter, ShowsFailureInJson) {
  filter.filterResult = E_ACCESSDENIED;
  EXPECT_EQ(RunHostJson({})["scenarios"][0]["result"], "0x80070005");
}

TEST_F(FilterHostForeignFilter, ReportsChangedRemoteCredential) {
  using Credential = CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION;
  struct {
    const char* name;
    void (*change)(Credential& taken);
  } const rows[] = {
      {"package", [](Credential& taken) { ++taken.ulAuthenticationPackage; }},
      {"size", [](Credential& taken) { --taken.cbSerialization; }},
      {"last byte", [](Credential& taken) { ++taken.rgbSerialization[taken.cbSerialization - 1]; }},
      {"no bytes",
       [](Credential& taken) {
         ::CoTaskMemFree(taken.rgbSerialization);
         taken.rgbSerialization = nullptr;
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    filter.change = row.change;
    EXPECT_THAT(
        RunHost({L"--remote-credential", kPasswordText}).out,
        ::testing::EndsWith("\ngoes to {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} Password, CONTENT CHANGED\n"));
    EXPECT_EQ(RunHostJson({L"--remote-credential", kPasswordText})["remoteCredential"]["contentUnchanged"],
              Json::Value{false});
  }
}

TEST_F(FilterHostForeignFilter, ReleasesTheFilter) {
  EXPECT_EQ(RunHost({}).exitCode, 0);
  EXPECT_EQ(create.CallCount(), 1u);
  EXPECT_EQ(filter.references, 0u);
}

}  // namespace
