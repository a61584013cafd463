#include <windows.h>
#include <objbase.h>
#include <shlobj.h>

#include "KuvAuth/Support/Text.h"
#include "KuvCredFilter/ComFixture.h"
#include "KuvCredFilter/KuvCredFilter.h"
#include "Support/ImportHook.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* reserved);

namespace {

using namespace KuvTest;
using enum LogLevel;

class ClassObject : public ComFixture {
 protected:
  static HRESULT Get(const char* classId, const char* interfaceId, void** object) {
    return ::DllGetClassObject(Guid(classId), Guid(interfaceId), object);
  }
};

TEST_F(ClassObject, IsTheFactory) {
  for (const char* const interfaceId : {kIClassFactory, kIUnknown}) {
    SCOPED_TRACE(interfaceId);
    log.Clear();
    void* object = nullptr;
    ASSERT_EQ(Get(kFilterClass, interfaceId, &object), S_OK);
    const std::string factory = Address(object);
    EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Filter DllGetClassObject (count 0)"},
                                     {Trace, "Entering CClassFactory_CreateInstance"},
                                     {Trace, "CClassFactory::CClassFactory object " + factory + " created"},
                                     {Trace, "Filter CClassFactory::QueryInterface " + factory + " (1)"},
                                     {Trace, "Exiting CClassFactory_CreateInstance {hr: 0x00000000}"}}));
    EXPECT_EQ(static_cast<IUnknown*>(object)->Release(), 0u);
    EXPECT_EQ(log.Lines().back(),
              (LogLine{Trace, "CClassFactory::~CClassFactory object " + factory + " destroyed"}));
  }
}

TEST_F(ClassObject, IsANewFactoryAtEachCall) {
  void* first = nullptr;
  void* second = nullptr;
  ASSERT_EQ(Get(kFilterClass, kIClassFactory, &first), S_OK);
  ASSERT_EQ(Get(kFilterClass, kIClassFactory, &second), S_OK);
  EXPECT_NE(first, second);
  EXPECT_EQ(static_cast<IUnknown*>(first)->Release(), 0u);
  EXPECT_EQ(static_cast<IUnknown*>(second)->Release(), 0u);
}

TEST_F(ClassObject, IsUnavailableForAnotherClass) {
  for (const char* const classId :
       {kKuv, kKuvSmartCard, kIClassFactory, "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F5}"}) {
    SCOPED_TRACE(classId);
    log.Clear();
    void* object = kUntouched;
    EXPECT_EQ(static_cast<unsigned>(Get(classId, kIClassFactory, &object)), 0x80040111u);
    EXPECT_EQ(object, kUntouched);
    EXPECT_EQ(static_cast<unsigned>(Get(classId, kIClassFactory, nullptr)), 0x80040111u);
    const LogLines once = {{Trace, "Filter DllGetClassObject (count 0)"},
                           {Trace, "Entering CClassFactory_CreateInstance"},
                           {Trace, "Exiting CClassFactory_CreateInstance {hr: 0x80040111}"}};
    LogLines twice = once;
    twice.insert(twice.end(), once.begin(), once.end());
    EXPECT_EQ(log.Lines(), twice);
  }
}

TEST_F(ClassObject, DestroysTheFactoryOfAFailedRequest) {
  struct Row {
    const char* interfaceId;
    bool hasOut;
    unsigned result;
    const char* exit;
  };
  for (const Row& row :
       {Row{kICredentialProviderFilter, true, 0x80004002,
            "Exiting CClassFactory_CreateInstance {hr: 0x80004002}"},
        Row{kIClassFactory, false, 0x80070057, "Exiting CClassFactory_CreateInstance {hr: 0x80070057}"}}) {
    SCOPED_TRACE(row.exit);
    log.Clear();
    void* object = kUntouched;
    EXPECT_EQ(static_cast<unsigned>(Get(kFilterClass, row.interfaceId, row.hasOut ? &object : nullptr)),
              row.result);
    EXPECT_EQ(object, row.hasOut ? nullptr : kUntouched);
    const LogLines lines = log.Lines();
    ASSERT_EQ(lines.size(), 5u);
    const std::string factory = AddressIn(lines[2].text);
    EXPECT_EQ(lines, (LogLines{{Trace, "Filter DllGetClassObject (count 0)"},
                               {Trace, "Entering CClassFactory_CreateInstance"},
                               {Trace, "CClassFactory::CClassFactory object " + factory + " created"},
                               {Trace, "CClassFactory::~CClassFactory object " + factory + " destroyed"},
                               {Trace, row.exit}}));
  }
}

TEST_F(ClassObject, LogsTheModuleCount) {
  g_moduleCount = 3;
  Get(kKuv, kIUnknown, nullptr);
  g_moduleCount = 0;
  EXPECT_EQ(log.Lines().front(), (LogLine{Trace, "Filter DllGetClassObject (count 3)"}));
}

TEST_F(ClassObject, RefreshesTheLogLevelBeforeItComparesTheClass) {
  log.System().minLevel = Info;
  registry.Local().SetDword(L"Debug", 2);
  EXPECT_EQ(Get(kKuv, kIClassFactory, nullptr), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(log.System().minLevel, Trace);
  EXPECT_EQ(log.Lines(), (LogLines{{Info, "Trace logging level enabled"},
                                   {Trace, "Exiting CClassFactory_CreateInstance {hr: 0x80040111}"}}));
}

TEST_F(ClassObject, RefreshesTheLogLevelAtEachCallWithThePolicyLast) {
  registry.Local().SetDword(L"Debug", 2);
  registry.Policy().SetDword(L"Debug", 1);
  for (int i = 0; i < 2; ++i) {
    log.System().minLevel = Info;
    log.Clear();
    void* object = nullptr;
    ASSERT_EQ(Get(kFilterClass, kIClassFactory, &object), S_OK);
    EXPECT_EQ(static_cast<IUnknown*>(object)->Release(), 0u);
    EXPECT_EQ(log.Lines(),
              (LogLines{{Info, "Trace logging level enabled"}, {Info, "Debug logging level enabled"}}));
  }
}

// A process without a log system, whose folders are those of the test.
class FirstLogging : public ::testing::Test {
 protected:
  FirstLogging() {
    EXPECT_EQ(g_logSystem, nullptr);
    folder.Answer([](HWND, int, HANDLE, DWORD, wchar_t*) { return E_FAIL; });
    file.Answer([this](const wchar_t* path, auto...) {
      files.push_back(WideToUtf8(path));
      return INVALID_HANDLE_VALUE;
    });
    debugger.Answer([this](const wchar_t* text) { lines.push_back(ParseLogLine(text)); });
  }
  ~FirstLogging() override { g_logSystem = nullptr; }

  static HRESULT Get(const char* interfaceId, void** object) {
    return ::DllGetClassObject(Guid(kFilterClass), Guid(interfaceId), object);
  }

  RegistrySandbox registry;
  ImportHook<decltype(&::SHGetFolderPathW)> folder{"SHGetFolderPathW"};
  KUV_IMPORT_HOOK(file, CreateFileW);
  KUV_IMPORT_HOOK(debugger, OutputDebugStringW);
  Names files;
  LogLines lines;
};

TEST_F(FirstLogging, StartsWithTheQueryOfAFactory) {
  struct Row {
    const char* classId;
    const char* interfaceId;
    bool hasOut;
    HRESULT result;
    bool starts;
  };
  for (const Row& row : {Row{kKuv, kIClassFactory, true, CLASS_E_CLASSNOTAVAILABLE, false},
                         Row{kFilterClass, kIClassFactory, false, E_INVALIDARG, false},
                         Row{kFilterClass, kICredentialProviderFilter, true, E_NOINTERFACE, true},
                         Row{kFilterClass, kIClassFactory, true, S_OK, true}}) {
    SCOPED_TRACE(row.result);
    void* object = nullptr;
    EXPECT_EQ(::DllGetClassObject(Guid(row.classId), Guid(row.interfaceId), row.hasOut ? &object : nullptr),
              row.result);
    EXPECT_EQ(g_logSystem != nullptr, row.starts);
    EXPECT_EQ(folder.CallCount() != 0, row.starts);
    if (object != nullptr) static_cast<IUnknown*>(object)->Release();
    g_logSystem = nullptr;
  }
}

TEST_F(FirstLogging, IsNotStartedByAFilterOrTheUnloadTest) {
  void* object = nullptr;
  ASSERT_EQ(CKuvCredFilter_CreateInstance(Guid(kICredentialProviderFilter), &object), S_OK);
  auto* const filter = static_cast<ICredentialProviderFilter*>(object);
  EXPECT_EQ(filter->QueryInterface(Guid(kIUnknown), &object), S_OK);
  EXPECT_EQ(filter->Filter(CPUS_LOGON, 0, nullptr, nullptr, 0), E_INVALIDARG);
  EXPECT_EQ(filter->UpdateRemoteCredential(nullptr, nullptr), E_NOTIMPL);
  EXPECT_EQ(::DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(filter->Release(), 1u);
  EXPECT_EQ(filter->Release(), 0u);
  EXPECT_EQ(g_logSystem, nullptr);
}

TEST_F(FirstLogging, GoesToTheDefaultFile) {
  folder.Answer([](HWND, int, HANDLE, DWORD, wchar_t* path) {
    ::lstrcpyW(path, L"C:\\Example");
    return S_OK;
  });
  KUV_IMPORT_HOOK(attributes, GetFileAttributesW);
  attributes.Answer([](const wchar_t*) { return INVALID_FILE_ATTRIBUTES; });
  KUV_IMPORT_HOOK(create, CreateDirectoryW);
  create.Answer([](const wchar_t*, SECURITY_ATTRIBUTES*) { return TRUE; });
  void* object = nullptr;
  ASSERT_EQ(Get(kIClassFactory, &object), S_OK);
  EXPECT_EQ(files, (Names{"C:\\Example\\Kuvant\\kuv.log"}));
  static_cast<IUnknown*>(object)->Release();
}

TEST_F(FirstLogging, UsesTheConfiguredLevelFromTheSecondCallOn) {
  registry.Local().SetDword(L"Debug", 2);
  void* first = nullptr;
  ASSERT_EQ(Get(kIClassFactory, &first), S_OK);
  ASSERT_NE(g_logSystem, nullptr);
  EXPECT_EQ(g_logSystem->minLevel, Info);
  EXPECT_EQ(lines, LogLines{});
  void* second = nullptr;
  ASSERT_EQ(Get(kIClassFactory, &second), S_OK);
  const std::string factory = Address(second);
  EXPECT_EQ(g_logSystem->minLevel, Trace);
  EXPECT_EQ(lines, (LogLines{{Info, "Trace logging level enabled"},
                             {Trace, "CClassFactory::CClassFactory object " + factory + " created"},
                             {Trace, "Filter CClassFactory::QueryInterface " + factory + " (1)"},
                             {Trace, "Exiting CClassFactory_CreateInstance {hr: 0x00000000}"}}));
  static_cast<IUnknown*>(first)->Release();
  static_cast<IUnknown*>(second)->Release();
}

class UnloadTest : public ComFixture {};

TEST_F(UnloadTest, AllowsUnloadingWithoutObjectsAndLocks) {
  EXPECT_EQ(::DllCanUnloadNow(), S_OK);
  EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Filter DllCanUnloadNow (count 0)"}}));
}

TEST_F(UnloadTest, IgnoresFactories) {
  void* object = nullptr;
  ASSERT_EQ(::DllGetClassObject(Guid(kFilterClass), Guid(kIClassFactory), &object), S_OK);
  auto* const factory = static_cast<IClassFactory*>(object);
  EXPECT_EQ(::DllCanUnloadNow(), S_OK);
  factory->LockServer(TRUE);
  EXPECT_EQ(::DllCanUnloadNow(), S_FALSE);
  factory->LockServer(FALSE);
  EXPECT_EQ(::DllCanUnloadNow(), S_OK);
  factory->Release();
}

TEST_F(UnloadTest, RejectsUnloadingWhileAFilterExists) {
  void* object = nullptr;
  ASSERT_EQ(CKuvCredFilter_CreateInstance(Guid(kIUnknown), &object), S_OK);
  log.Clear();
  EXPECT_EQ(::DllCanUnloadNow(), 1);
  EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Filter DllCanUnloadNow (count 1)"}}));
  static_cast<IUnknown*>(object)->Release();
  EXPECT_EQ(::DllCanUnloadNow(), 0);
}

TEST_F(UnloadTest, RejectsUnloadingBelowZero) {
  DllRelease();
  EXPECT_EQ(::DllCanUnloadNow(), S_FALSE);
  DllAddRef();
}

struct FlushCounter final : Kuv::ILogHandler {
  void LogWrite(LogLevel, const wchar_t*) override {}
  void LogWrite(LogLevel, const char*) override {}
  void Flush() override { ++flushes; }

  int flushes = 0;
};

class ModuleEntry : public KuvFixture {
 protected:
  ModuleEntry() { log.System().AddHandler(counter); }
  ~ModuleEntry() override { g_moduleInstance = nullptr; }

  std::shared_ptr<FlushCounter> counter = std::make_shared<FlushCounter>();
};

TEST_F(ModuleEntry, StoresTheModuleAtEachNotification) {
  for (const DWORD reason : {1u, 2u, 3u, 0u, 77u}) {
    SCOPED_TRACE(reason);
    const auto module = reinterpret_cast<HINSTANCE>(std::uintptr_t{0x10000} + reason);
    EXPECT_EQ(::DllMain(module, reason, nullptr), TRUE);
    EXPECT_EQ(g_moduleInstance, module);
  }
}

TEST_F(ModuleEntry, KeepsTheLogUntilTheProcessDetaches) {
  const std::shared_ptr<Kuv::LogSystem> before = g_logSystem;
  for (const DWORD reason : {1u, 2u, 3u}) EXPECT_EQ(::DllMain(nullptr, reason, nullptr), TRUE);
  EXPECT_EQ(g_logSystem, before);
  EXPECT_EQ(counter->flushes, 0);
}

TEST_F(ModuleEntry, EndsTheLogAtProcessDetach) {
  EXPECT_EQ(::DllMain(nullptr, 0, nullptr), TRUE);
  EXPECT_EQ(g_logSystem, nullptr);
  EXPECT_EQ(counter->flushes, 1);
  EXPECT_EQ(log.Lines(), LogLines{});
  EXPECT_EQ(::DllMain(nullptr, 0, nullptr), TRUE);
}

TEST_F(ModuleEntry, EndsTheLogAtProcessExit) {
  int reserved = 0;
  EXPECT_EQ(::DllMain(nullptr, 0, &reserved), TRUE);
  EXPECT_EQ(g_logSystem, nullptr);
  EXPECT_EQ(counter->flushes, 1);
}

TEST_F(ModuleEntry, CallsNoRegistryAtAttach) {
  KUV_IMPORT_HOOK(openA, RegOpenKeyExA);
  KUV_IMPORT_HOOK(openW, RegOpenKeyExW);
  ::DllMain(nullptr, 1, nullptr);
  EXPECT_EQ(openA.CallCount(), 0u);
  EXPECT_EQ(openW.CallCount(), 0u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

}  // namespace
