#include "Support/MemoryExhaustion.h"

#include <objbase.h>
#include <shlobj.h>

#include <cstring>
#include <new>

#include "KuvCredFilter/AllowedProviders.h"
#include "KuvCredFilter/FilterFixture.h"
#include "KuvCredFilter/KuvCredFilter.h"
#include "KuvCredFilter/Module.h"
#include "Support/ImportTable.h"

// The test itself must not allocate while memory is exhausted: the arrays are created before.

namespace {

using namespace KuvTest;
using enum LogLevel;

class ExhaustedMemory : public FilterFixture {
 protected:
  ExhaustedMemory() {
    Configure({kVendor, kOther}).EnableSmartCards = true;
    GetConfiguration()->WrapSmartCards = true;
  }

  // Decides on a logon with memory for `allocations` - 1 allocations. Returns whether memory ran out.
  bool FilterWithMemoryFor(std::size_t allocations, MemoryExhaustion::Lasts lasts) {
    std::copy_n(std::begin(kBefore), 4, allow);
    const MemoryExhaustion exhaustion{allocations, lasts};
    result = filter->Filter(CPUS_LOGON, 0, providers, allow, 4);
    return exhaustion.Struck();
  }

  static constexpr BOOL kBefore[] = {0, 1, 7, -1};
  GUID providers[4] = {Guid(kPassword), Guid(kKuv), Guid(kVendor), Guid(kKuvSmartCard)};
  BOOL allow[4] = {};
  HRESULT result = E_FAIL;
};

TEST_F(ExhaustedMemory, DisablesTheKuvProvidersAtAnyAllocation) {
  log.System().minLevel = LogLevelPlain;
  metrics.Answer([](int) { return 0; });
  for (const auto lasts : {MemoryExhaustion::Lasts::OneCall, MemoryExhaustion::Lasts::ToTheEnd}) {
    std::size_t allocation = 1;
    // The last round has memory enough. The list alone needs a copy and an append.
    while (FilterWithMemoryFor(allocation, lasts) && allocation < 100) {
      SCOPED_TRACE(allocation);
      EXPECT_EQ(result, S_OK);
      EXPECT_EQ((std::vector<BOOL>{allow, allow + 4}), (std::vector<BOOL>{1, 0, 1, 0}));
      ++allocation;
    }
    EXPECT_GE(allocation, 3u);
    EXPECT_LT(allocation, 100u);
  }
}

TEST_F(ExhaustedMemory, IsTheLoggedException) {
  log.System().minLevel = Info;
  ASSERT_TRUE(FilterWithMemoryFor(1, MemoryExhaustion::Lasts::OneCall));
  EXPECT_EQ(result, S_OK);
  EXPECT_EQ(log.Lines(),
            (LogLines{{Error, std::string{"Filter encountered an exception. '"} + std::bad_alloc{}.what()},
                      {Info, "Disabling Kuv Credential Provider"}}));
}

TEST_F(ExhaustedMemory, DoesNotChangeTheDecisionIfNoAllocationFails) {
  ASSERT_FALSE(FilterWithMemoryFor(1000, MemoryExhaustion::Lasts::ToTheEnd));
  EXPECT_EQ(result, S_OK);
  EXPECT_EQ((std::vector<BOOL>{allow, allow + 4}), (std::vector<BOOL>{0, 1, 1, 1}));
}

TEST_F(ExhaustedMemory, ReachesTheCallerOfTheAllowedList) {
  const MemoryExhaustion exhaustion{1};
  EXPECT_THROW(GetAllowedProviders(), std::bad_alloc);
}

TEST_F(ExhaustedMemory, PassesARemoteCredential) {
  log.System().minLevel = LogLevelPlain;
  BYTE bytes[3] = {1, 2, 3};
  CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION in{7, Guid(kPassword), 3, bytes};
  CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION out{1, Guid(kOther), 2, nullptr};
  {
    const MemoryExhaustion exhaustion{1};
    result = filter->UpdateRemoteCredential(&in, &out);
  }
  EXPECT_EQ(result, E_NOTIMPL);
  EXPECT_EQ(out.ulAuthenticationPackage, 1u);
  EXPECT_EQ(Text(out.clsidCredentialProvider), kOther);
  EXPECT_EQ(out.cbSerialization, 2u);
}

TEST_F(ExhaustedMemory, LeavesFilterCreationUncaught) {
  void* object = nullptr;
  const GUID interfaceId = Guid(kIUnknown);
  log.System().minLevel = LogLevelPlain;
  {
    const MemoryExhaustion exhaustion{1};
    EXPECT_THROW(CKuvCredFilter_CreateInstance(interfaceId, &object), std::bad_alloc);
  }
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(g_moduleCount.load(), 1);  // the fixture's own
}

TEST_F(ExhaustedMemory, LeavesFactoryCreationUncaught) {
  void* object = nullptr;
  const GUID interfaceId = Guid(kIClassFactory);
  const GUID classId = Guid(kFilterClass);
  log.System().minLevel = LogLevelPlain;
  const MemoryExhaustion exhaustion{1};
  EXPECT_THROW(::DllGetClassObject(classId, interfaceId, &object), std::bad_alloc);
}

// A process without a log system, on a machine without a folder for a log.
class ExhaustedMemoryAtTheStart : public ::testing::Test {
 protected:
  ExhaustedMemoryAtTheStart() {
    for (void** const entry : folder) WriteImport(entry, reinterpret_cast<void*>(&NoFolder));
  }
  ~ExhaustedMemoryAtTheStart() override {
    for (void** const entry : folder) WriteImport(entry, original);
  }

  // Asks for a factory with memory for `allocations` - 1 allocations, and releases it. Returns whether memory
  // ran out.
  bool AskForFactory(std::size_t allocations) {
    void* object = nullptr;
    const MemoryExhaustion exhaustion{allocations};
    try {
      EXPECT_EQ(::DllGetClassObject(classId, interfaceId, &object), S_OK);
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(object, nullptr);
      EXPECT_EQ(g_logSystem, nullptr);
      return true;
    }
    EXPECT_NE(g_logSystem, nullptr);
    static_cast<IUnknown*>(object)->Release();
    g_logSystem = nullptr;
    return false;
  }

  // A hook would need memory for its records.
  static HRESULT WINAPI NoFolder(HWND, int, HANDLE, DWORD, wchar_t*) { return E_FAIL; }

  RegistrySandbox registry;
  const GUID interfaceId = Guid(kIClassFactory);
  const GUID classId = Guid(kFilterClass);
  const std::vector<void**> folder = FindImports(::GetModuleHandleW(nullptr), "SHGetFolderPathW");
  void* const original = folder.empty() ? nullptr : *folder.front();
};

TEST_F(ExhaustedMemoryAtTheStart, LeaksNoFactoryIfTheLogDoesNotStart) {
  ASSERT_FALSE(folder.empty());
  ASSERT_EQ(g_logSystem, nullptr);
  const std::size_t before = LiveBlocks();
  std::size_t allocation = 1;
  while (AskForFactory(allocation) && allocation < 100) {
    EXPECT_EQ(LiveBlocks(), before) << allocation;
    ++allocation;
  }
  EXPECT_EQ(LiveBlocks(), before);
  // The factory, the log system, its first handler, the room for that: what fails behind the first matters.
  EXPECT_GE(allocation, 5u);
  EXPECT_LT(allocation, 100u);
}

}  // namespace
