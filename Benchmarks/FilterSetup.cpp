#include "FilterSetup.h"

#include <algorithm>
#include <stdexcept>

#include <benchmark/benchmark.h>

#include "KuvCredFilter/Identifiers.h"
#include "Support/TempFolder.h"

namespace KuvBench {

namespace {

constexpr char kPolicyPath[] = "Software\\Policies\\Kuvant\\KuvCredProv";
constexpr char kLocalPath[] = "Software\\Kuvant\\KuvCredProv";
constexpr wchar_t kTerminalServerPath[] = L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\";

void ReadDirectSetting(const char* name) {
  for (const char* path : {kPolicyPath, kLocalPath}) {
    HKEY key = nullptr;
    if (::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) continue;
    DWORD value = 0;
    DWORD type = REG_DWORD;
    DWORD size = sizeof(value);
    ::RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    ::RegCloseKey(key);
    benchmark::DoNotOptimize(value);
  }
}

void QuerySession() {
  if (::GetSystemMetrics(SM_REMOTESESSION) != 0) return;
  HKEY key = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kTerminalServerPath, 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  DWORD glassSession = 0;
  DWORD size = sizeof(glassSession);
  ::RegQueryValueExW(key, L"GlassSessionId", nullptr, nullptr, reinterpret_cast<BYTE*>(&glassSession), &size);
  DWORD ownSession = 0;
  ::ProcessIdToSessionId(::GetCurrentProcessId(), &ownSession);
  ::RegCloseKey(key);
  benchmark::DoNotOptimize(glassSession);
  benchmark::DoNotOptimize(ownSession);
}

void QueryVersion() {
  OSVERSIONINFOEXW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  version.dwMajorVersion = 6;
  version.dwMinorVersion = 2;
  DWORDLONG condition = ::VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
  condition = ::VerSetConditionMask(condition, VER_MINORVERSION, VER_GREATER_EQUAL);
  condition = ::VerSetConditionMask(condition, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
  BOOL holds =
      ::VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, condition);
  benchmark::DoNotOptimize(holds);
}

const std::wstring& AppData() {
  static const KuvTest::TempFolder folder;
  return folder.Path();
}

void WINAPI DropDebugText(LPCWSTR) {}

BOOL WINAPI DropWrite(HANDLE, LPCVOID, DWORD size, LPDWORD written, LPOVERLAPPED) {
  *written = size;
  return TRUE;
}

}  // namespace

MachineSettings::MachineSettings() {
  const KuvTest::TestKey local = registry_.Local();
  local.SetText(L"Host", L"api.example.com");
  local.SetText(L"IKey", L"CLIENT0123456789");
  local.SetText(L"SKey", L"0123456789012345678901234567890123456789");
  local.SetDword(L"EnableSmartCards", 1);
  local.SetTexts(L"ProvidersWhitelist",
                 {L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", L"{8AF662BF-65A0-4D0A-A540-A338A999D36F}"});
  registry_.Policy().Create();
  DWORD session = 0;
  ::ProcessIdToSessionId(::GetCurrentProcessId(), &session);
  KuvTest::TestKey{HKEY_LOCAL_MACHINE, kTerminalServerPath}.SetDword(L"GlassSessionId", session);
}

ProviderArrays::ProviderArrays(std::size_t count) : providers_(count), allow_(count, TRUE) {
  for (std::size_t i = 0; i < count; ++i) providers_[i].Data1 = static_cast<ULONG>(i) + 1;
  providers_.back() = CLSID_KuvCredProv;
}

void ProviderArrays::Filter(ICredentialProviderFilter& filter) {
  filter.Filter(CPUS_LOGON, /*dwFlags=*/0, providers_.data(), allow_.data(),
                static_cast<DWORD>(providers_.size()));
}

void ProviderArrays::Check(ICredentialProviderFilter& filter) {
  Filter(filter);
  if (allow_.back() != TRUE || std::count(allow_.begin(), allow_.end(), TRUE) != 1) {
    throw std::runtime_error{"the filter does not enable only the Kuv provider"};
  }
}

ModuleFilter::ModuleFilter() : LiveFilter(AppData()) {}

void DropLogOutput(const KuvTest::FilterModule& module) {
  module.ReplaceImport("OutputDebugStringW", reinterpret_cast<void*>(&DropDebugText));
  module.ReplaceImport("WriteFile", reinterpret_cast<void*>(&DropWrite));
}

void CallPlatformForDecision() {
  QueryVersion();
  ReadDirectSetting("ElevationProtectionMode");
  QuerySession();
  ReadDirectSetting("RdpOnly");
}

}  // namespace KuvBench
