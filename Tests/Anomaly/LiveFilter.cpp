#include "Anomaly/LiveFilter.h"

#include <filesystem>
#include <stdexcept>

#include "Anomaly/Providers.h"

namespace KuvTest {

namespace {

template <typename Function>
Function Export(HMODULE module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(::GetProcAddress(module, name)));
}

}  // namespace

std::wstring BuiltDll() {
  wchar_t program[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  return std::filesystem::path{program}.replace_filename(L"KuvCredFilter.dll").wstring();
}

LiveFilter::LiveFilter() : module_(::LoadLibraryW(BuiltDll().c_str())) {
  if (module_ == nullptr) throw std::runtime_error{"the DLL does not load"};
  filter_ = Make();
}

LiveFilter::~LiveFilter() {
  filter_->Release();
  ::FreeLibrary(module_);
}

ICredentialProviderFilter* LiveFilter::Make() const {
  using Function = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  IClassFactory* factory = nullptr;
  if (Export<Function>(module_, "DllGetClassObject")(kFilterClass, IID_IClassFactory,
                                                     reinterpret_cast<void**>(&factory)) != S_OK) {
    throw std::runtime_error{"no factory"};
  }
  ICredentialProviderFilter* filter = nullptr;
  const HRESULT result =
      factory->CreateInstance(nullptr, kFilterInterface, reinterpret_cast<void**>(&filter));
  factory->Release();
  if (result != S_OK) throw std::runtime_error{"no filter"};
  return filter;
}

HRESULT LiveFilter::Decide(std::uint32_t scenario, DWORD flags, std::vector<GUID> providers,
                           std::vector<BOOL>& allow) const {
  return filter_->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(scenario), flags, providers.data(),
                         allow.data(), static_cast<DWORD>(providers.size()));
}

void LiveFilter::MakeAnother() const {
  Make()->Release();
}

bool CanUnload(HMODULE module) {
  return Export<HRESULT(STDAPICALLTYPE*)()>(module, "DllCanUnloadNow")() == S_OK;
}

}  // namespace KuvTest
