#include "KuvAuth/ServiceClient/ClientIdentity.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/ServiceClient/SystemCallFailure.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "KuvAuth/Support/WindowsVersion.h"

namespace Kuv::Util {

namespace {

constexpr char kProductName[] = "KuvCredProv";
constexpr char kProductVersion[] = KUV_PRODUCT_VERSION;
constexpr char kVersionKey[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

static_assert(sizeof(OSVERSIONINFOEXW) == 284);

OSVERSIONINFOEXW GetVersion() {
  OSVERSIONINFOEXW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  // Ignores the result: on failure the numbers are 0.
#if defined(_MSC_VER)
#pragma warning(suppress : 4996 28159)  // deprecated, but also returns the product type
#endif
  static_cast<void>(::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)));
  return version;
}

bool ReadReleaseId(HKEY key, std::uint32_t& number) {
  char text[1024] = {};
  constexpr DWORD kOffered = sizeof(text) - 1;
  DWORD type = REG_SZ;
  DWORD size = kOffered;
  const LSTATUS status =
      ::RegQueryValueExA(key, "ReleaseId", nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
  if (status != ERROR_SUCCESS || type != REG_SZ || size == 0) return false;
  text[std::min(size, kOffered)] = '\0';
  number = static_cast<std::uint32_t>(std::strtoul(text, nullptr, /*base=*/0));
  return true;
}

bool ReadUpdateBuildRevision(HKEY key, std::uint32_t& number) {
  DWORD value = 0;
  DWORD type = REG_DWORD;
  DWORD size = sizeof(value);
  const LSTATUS status =
      ::RegQueryValueExA(key, "UBR", nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  if (status != ERROR_SUCCESS || type != REG_DWORD || size == 0) return false;
  number = value;
  return true;
}

std::string VersionPart(const OSVERSIONINFOEXW& version) {
  const auto major = static_cast<int>(version.dwMajorVersion);
  const auto minor = static_cast<int>(version.dwMinorVersion);
  const auto build = static_cast<int>(version.dwBuildNumber);
  std::uint32_t release = 0;
  std::uint32_t revision = 0;
  if (!GetWindows10ReleaseInfo(release, revision)) {
    return FormatToString("Windows NT %d.%d.%d", major, minor, build);
  }
  return FormatToString("Windows NT %d.%d.%d.%d.%d", major, minor, static_cast<int>(release), build,
                        static_cast<int>(revision));
}

bool IsWow64() {
  BOOL flag = FALSE;
  if (::IsWow64Process(::GetCurrentProcess(), &flag) == FALSE) {
    const DWORD code = ::GetLastError();
    LogSystemCallFailure("IsWow64Process", code);
    return false;
  }
  return flag == TRUE;
}

const char* ProcessorField() {
  SYSTEM_INFO system{};
  ::GetSystemInfo(&system);
  switch (system.wProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_AMD64:
      return "; x64";
    case PROCESSOR_ARCHITECTURE_IA64:
      return "; IA64";
    case PROCESSOR_ARCHITECTURE_INTEL:
      return IsWow64() ? "; WOW64" : "; x86";
    default:
      return "";
  }
}

const char* ProductTypeField(BYTE productType) noexcept {
  switch (productType) {
    case VER_NT_WORKSTATION:
      return "; Workstation";
    case VER_NT_DOMAIN_CONTROLLER:
      return "; DC";
    case VER_NT_SERVER:
      return "; Server";
    default:
      return "";
  }
}

}  // namespace

std::string BuildProductToken() {
  return FormatToString("%s/%s", kProductName, kProductVersion);
}

std::string BuildOsDescription() {
  const OSVERSIONINFOEXW version = GetVersion();
  std::string text = VersionPart(version);
  text += ProcessorField();
  text += ProductTypeField(version.wProductType);
  return text;
}

bool GetWindows10ReleaseInfo(std::uint32_t& releaseNumber, std::uint32_t& updateBuildRevision) {
  if (!IsAtLeastWindows(10, 0)) return false;
  UniqueRegistryKey key;
  if (::RegOpenKeyExA(HKEY_LOCAL_MACHINE, kVersionKey, /*ulOptions=*/0, KEY_QUERY_VALUE, key.Put()) !=
      ERROR_SUCCESS) {
    return false;
  }
  std::uint32_t release = 0;
  std::uint32_t revision = 0;
  if (!ReadReleaseId(key.Get(), release) || !ReadUpdateBuildRevision(key.Get(), revision)) return false;
  releaseNumber = release;
  updateBuildRevision = revision;
  return true;
}

std::string BuildFailModeField() {
  return std::string{"; failmode: "} + (GetConfiguration()->FailOpen ? "Open" : "Closed");
}

std::string BuildUsernameFormatField() {
  constexpr auto kDefault = static_cast<std::uint32_t>(UsernameFormat::NTLM);
  std::uint32_t number = GetDwordSetting("UsernameFormatForService", kDefault);
  // Not `UsernameFormatFromValue`, which logs an unknown number.
  if (number > static_cast<std::uint32_t>(UsernameFormat::UPN)) number = kDefault;
  return "; UsernameFormat: " + UsernameFormatName(static_cast<UsernameFormat>(number));
}

std::string BuildClientOptionFields() {
  return BuildFailModeField() + BuildUsernameFormatField();
}

}  // namespace Kuv::Util
