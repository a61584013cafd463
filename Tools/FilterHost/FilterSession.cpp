#include "FilterHost/FilterSession.h"

#include <cstring>
#include <iterator>
#include <utility>

#include "Common/ErrorText.h"
#include "Common/Identifier.h"
#include "FilterHost/HostError.h"
#include "KuvAuth/Support/Text.h"
#include "KuvCredFilter/Identifiers.h"

namespace FilterHost {

namespace {

using Tools::DescribeError;
using Tools::IdentifierText;

using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

std::string Describe(HRESULT result) {
  return DescribeError(static_cast<std::uint32_t>(result));
}

void RequireCreated(HRESULT result, const std::string& call) {
  if (FAILED(result))
    throw HostError{ExitCode::NotCreated, "cannot create the filter: " + call + ": " + Describe(result)};
}

std::wstring FullPath(const std::wstring& path) {
  wchar_t full[1024] = {};
  const DWORD length =
      ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(std::size(full)), full, /*lpFilePart=*/nullptr);
  return length == 0 || length >= std::size(full) ? path : std::wstring{full};
}

UniqueLibrary LoadFilter(const std::wstring& path) {
  UniqueLibrary library{::LoadLibraryExW(path.c_str(), /*hFile=*/nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)};
  if (!library) {
    const DWORD code = ::GetLastError();
    throw HostError{ExitCode::NotLoadable, "cannot load '" + WideToUtf8(path) + "': " + DescribeError(code)};
  }
  return library;
}

// Returns the path that the registry has for the class of the filter, or an empty text if it has none.
std::wstring RegisteredPath() {
  const std::wstring key = L"CLSID\\" + Utf8ToWide(IdentifierText(CLSID_KuvCredFilter)) + L"\\InprocServer32";
  wchar_t path[1024] = {};
  DWORD size = sizeof(path);
  const LSTATUS status = ::RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), /*lpValue=*/nullptr, RRF_RT_REG_SZ,
                                        /*pdwType=*/nullptr, path, &size);
  return status == ERROR_SUCCESS ? std::wstring{path} : std::wstring{};
}

UniqueInterface<ICredentialProviderFilter> CreateRegistered() {
  UniqueInterface<ICredentialProviderFilter> filter;
  const HRESULT result =
      ::CoCreateInstance(CLSID_KuvCredFilter, /*pUnkOuter=*/nullptr, CLSCTX_INPROC_SERVER,
                         IID_ICredentialProviderFilter, reinterpret_cast<void**>(filter.Put()));
  if (SUCCEEDED(result)) return filter;
  // The result of COM does not distinguish these cases.
  const std::wstring path = RegisteredPath();
  if (path.empty()) {
    throw HostError{
        ExitCode::NotRegistered,
        "the filter " + IdentifierText(CLSID_KuvCredFilter) +
            " is not registered; run regsvr32 KuvCredFilter.dll to register it: " + Describe(result)};
  }
  LoadFilter(path);
  RequireCreated(result, "CoCreateInstance");
  return filter;
}

UniqueInterface<ICredentialProviderFilter> CreateFrom(HMODULE library, const std::wstring& path) {
  const FARPROC address = ::GetProcAddress(library, "DllGetClassObject");
  if (address == nullptr) {
    throw HostError{ExitCode::NoClassObject, "'" + WideToUtf8(path) + "' has no DllGetClassObject"};
  }
  // The cast goes through void* because the two function types are unrelated.
  const auto getClassObject = reinterpret_cast<GetClassObjectFunction>(reinterpret_cast<void*>(address));
  UniqueInterface<IClassFactory> factory;
  RequireCreated(
      getClassObject(CLSID_KuvCredFilter, IID_IClassFactory, reinterpret_cast<void**>(factory.Put())),
      "DllGetClassObject");
  UniqueInterface<ICredentialProviderFilter> filter;
  RequireCreated(factory.Get()->CreateInstance(/*pUnkOuter=*/nullptr, IID_ICredentialProviderFilter,
                                               reinterpret_cast<void**>(filter.Put())),
                 "CreateInstance");
  return filter;
}

struct TaskMemoryTraits {
  using Value = BYTE*;
  static Value None() noexcept { return nullptr; }
  static void Close(Value memory) noexcept { ::CoTaskMemFree(memory); }
};
using UniqueTaskMemory = Kuv::UniqueResource<TaskMemoryTraits>;

}  // namespace

ComApartment::ComApartment() {
  const HRESULT result = ::CoInitializeEx(/*pvReserved=*/nullptr, COINIT_APARTMENTTHREADED);
  if (FAILED(result)) throw HostError{ExitCode::Failed, "cannot start COM: " + Describe(result)};
}

ComApartment::~ComApartment() {
  ::CoUninitialize();
}

FilterSession::FilterSession(const std::wstring& dll)
    : path_(dll.empty() ? RegisteredPath() : FullPath(dll)),
      library_(dll.empty() ? UniqueLibrary{} : LoadFilter(path_)),
      filter_(dll.empty() ? CreateRegistered() : CreateFrom(library_.Get(), path_)) {}

FilterAnswer FilterSession::Ask(const Tools::Scenario& scenario, std::vector<GUID> providers,
                                BOOL allow) const {
  FilterAnswer answer{S_OK, std::vector<BOOL>(providers.size(), allow)};
  answer.result = filter_.Get()->Filter(scenario.usage, scenario.flags, providers.data(), answer.allow.data(),
                                        static_cast<DWORD>(providers.size()));
  return answer;
}

RemoteAnswer FilterSession::OfferRemoteCredential(const GUID& provider) const {
  constexpr ULONG kPackage = 7;
  BYTE content[] = {0x4D, 0x61, 0x64, 0x65, 0x2D, 0x75, 0x70, 0x00, 0xFF, 0x10, 0x20, 0x30};
  const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION offered{kPackage, provider, sizeof(content), content};
  CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION taken{};
  const HRESULT result = filter_.Get()->UpdateRemoteCredential(&offered, &taken);
  const UniqueTaskMemory copy{taken.rgbSerialization};
  const bool unchanged = taken.ulAuthenticationPackage == kPackage &&
                         taken.cbSerialization == sizeof(content) && copy &&
                         std::memcmp(copy.Get(), content, sizeof(content)) == 0;
  return {provider, result, taken.clsidCredentialProvider, unchanged};
}

}  // namespace FilterHost
