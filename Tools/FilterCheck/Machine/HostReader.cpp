#include "FilterCheck/Machine/HostReader.h"

#include <windows.h>
#include <sddl.h>

#include <iterator>

#include "Common/PlainText.h"
#include "Common/SystemFunction.h"
#include "FilterCheck/Machine/Architecture.h"
#include "KuvAuth/ServiceClient/ClientIdentity.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterCheck {

namespace {

struct TokenTraits {
  using Value = HANDLE;
  static Value None() noexcept { return nullptr; }
  static void Close(Value token) noexcept { ::CloseHandle(token); }
};

std::string MachineName() {
  wchar_t name[256] = {};
  auto length = static_cast<DWORD>(std::size(name));
  if (::GetComputerNameExW(ComputerNameDnsHostname, name, &length) == FALSE) return "this machine";
  return Tools::PlainText(std::wstring{name});
}

// Returns the update build revision with a dot before it, or an empty text if there is none.
std::string RevisionText() {
  DWORD revision = 0;
  DWORD size = sizeof(revision);
  const LSTATUS status =
      ::RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", L"UBR",
                     RRF_RT_REG_DWORD, /*pdwType=*/nullptr, &revision, &size);
  return status == ERROR_SUCCESS ? "." + std::to_string(revision) : std::string{};
}

// GetVersionExW and VerifyVersionInfoW report the version that the manifest of the program names.
std::string WindowsVersion() {
  using GetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
  const auto getVersion = Tools::SystemFunction<GetVersion>(L"ntdll.dll", "RtlGetVersion");
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  if (getVersion == nullptr || getVersion(&version) < 0) return {};
  return FormatToString("%lu.%lu.%lu", version.dwMajorVersion, version.dwMinorVersion,
                        version.dwBuildNumber) +
         RevisionText();
}

std::string SafeMode() {
  switch (::GetSystemMetrics(SM_CLEANBOOT)) {
    case 0:
      return "off";
    case 2:
      return "on, with network";
    default:
      return "on";
  }
}

}  // namespace

Host ReadHost(const Registration& registration) {
  return {MachineName(),
          ToolVersion(),
          registration.filter[0].version,
          WindowsVersion(),
          ArchitectureName(NativeMachine()),
          !ElevatedUser().empty(),
          SafeMode()};
}

std::wstring ElevatedUser() {
  Kuv::UniqueResource<TokenTraits> token;
  if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Put()) == FALSE) return {};
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  if (::GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof(elevation), &size) == FALSE ||
      elevation.TokenIsElevated == 0) {
    return {};
  }
  alignas(TOKEN_USER) BYTE user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE] = {};
  Kuv::UniqueLocalMemory<wchar_t> text;
  if (::GetTokenInformation(token.Get(), TokenUser, user, sizeof(user), &size) == FALSE ||
      ::ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid, text.Put()) == FALSE) {
    return {};
  }
  return text.Get();
}

std::string ToolVersion() {
  const std::string token = Kuv::Util::BuildProductToken();
  return token.substr(token.find('/') + 1);
}

}  // namespace FilterCheck
