#include "LoadedFilter.h"

#include <objbase.h>
#include <shlobj.h>

#include <cwchar>
#include <stdexcept>

#include "KuvCredFilter/Identifiers.h"
#include "Support/ImportTable.h"
#include "Support/TempFolder.h"

namespace KuvBench {

namespace {

HRESULT WINAPI AnswerTemporaryFolder(HWND, int, HANDLE, DWORD, LPWSTR path) {
  static const KuvTest::TempFolder folder;
  std::wmemcpy(path, folder.Path().c_str(), folder.Path().size() + 1);
  return S_OK;
}

void WINAPI DropDebugText(LPCWSTR) {}

BOOL WINAPI DropWrite(HANDLE, LPCVOID, DWORD size, LPDWORD written, LPOVERLAPPED) {
  *written = size;
  return TRUE;
}

template <typename Function>
void Replace(HMODULE module, const char* name, Function* function) {
  for (void** const entry : KuvTest::FindImports(module, name)) {
    KuvTest::WriteImport(entry, reinterpret_cast<void*>(function));
  }
}

void Require(HRESULT result, const char* operation) {
  if (FAILED(result)) throw std::runtime_error{operation};
}

ICredentialProviderFilter* CreateFilter(HMODULE module) {
  const auto getClassObject = reinterpret_cast<decltype(&::DllGetClassObject)>(
      reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
  IClassFactory* factory = nullptr;
  Require(getClassObject(CLSID_KuvCredFilter, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
          "no class factory");
  ICredentialProviderFilter* filter = nullptr;
  const HRESULT created =
      factory->CreateInstance(nullptr, IID_ICredentialProviderFilter, reinterpret_cast<void**>(&filter));
  factory->Release();
  Require(created, "no filter");
  return filter;
}

}  // namespace

LoadedFilter::LoadedFilter() : module_(::LoadLibraryW(L"KuvCredFilter.dll")) {
  if (module_ == nullptr) throw std::runtime_error{"KuvCredFilter.dll cannot be loaded"};
  Replace(module_, "SHGetFolderPathW", AnswerTemporaryFolder);
  filter_ = CreateFilter(module_);
}

LoadedFilter::~LoadedFilter() {
  filter_->Release();
  ::FreeLibrary(module_);
}

void LoadedFilter::DropLogOutput() const {
  Replace(module_, "OutputDebugStringW", DropDebugText);
  Replace(module_, "WriteFile", DropWrite);
}

}  // namespace KuvBench
