#include "Support/FilterModule.h"

#include <windows.h>
#include <shlobj.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

#include "Support/ImportTable.h"
#include "Support/Providers.h"

namespace KuvTest {

namespace {

template <typename Function>
Function Export(HMODULE module, const char* name) {
  const auto function = reinterpret_cast<void (*)()>(::GetProcAddress(module, name));
  if (function == nullptr) throw std::runtime_error{std::string{name} + " is not exported"};
  return reinterpret_cast<Function>(function);
}

using PlainExport = HRESULT(STDAPICALLTYPE*)();

std::wstring& AppData() {
  static std::wstring path;
  return path;
}

HRESULT WINAPI AnswerAppData(HWND, int, HANDLE, DWORD, wchar_t* path) {
  path[AppData().copy(path, MAX_PATH - 1)] = L'\0';
  return S_OK;
}

}  // namespace

std::wstring FilterDllPath() {
  wchar_t program[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  return std::filesystem::path{program}.replace_filename(L"KuvCredFilter.dll").wstring();
}

FilterModule::FilterModule(const std::wstring& appData) : module_(::LoadLibraryW(FilterDllPath().c_str())) {
  if (module_ == nullptr) throw std::runtime_error{"KuvCredFilter.dll does not load"};
  if (appData.empty()) return;
  AppData() = appData;
  ReplaceImport("SHGetFolderPathW", reinterpret_cast<void*>(&AnswerAppData));
}

FilterModule::~FilterModule() {
  Unload();
}

void FilterModule::ReplaceImport(const char* name, void* function) const {
  for (void** const entry : FindImports(module_, name)) WriteImport(entry, function);
}

HRESULT FilterModule::GetClassObject(REFCLSID rclsid, REFIID riid, void** object) const {
  using Function = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  return Export<Function>(module_, "DllGetClassObject")(rclsid, riid, object);
}

HRESULT FilterModule::CanUnloadNow() const {
  return Export<PlainExport>(module_, "DllCanUnloadNow")();
}

HRESULT FilterModule::RegisterServer() const {
  return Export<PlainExport>(module_, "DllRegisterServer")();
}

HRESULT FilterModule::UnregisterServer() const {
  return Export<PlainExport>(module_, "DllUnregisterServer")();
}

ICredentialProviderFilter* FilterModule::CreateFilter() const {
  IClassFactory* factory = nullptr;
  if (FAILED(GetClassObject(kFilterClassId, IID_IClassFactory, reinterpret_cast<void**>(&factory)))) {
    throw std::runtime_error{"no class factory"};
  }
  ICredentialProviderFilter* filter = nullptr;
  const HRESULT result =
      factory->CreateInstance(nullptr, kFilterInterfaceId, reinterpret_cast<void**>(&filter));
  factory->Release();
  if (FAILED(result)) throw std::runtime_error{"no filter"};
  return filter;
}

bool FilterModule::Unload() {
  if (module_ == nullptr) return true;
  ::FreeLibrary(std::exchange(module_, nullptr));
  return ::GetModuleHandleW(L"KuvCredFilter.dll") == nullptr;
}

}  // namespace KuvTest
