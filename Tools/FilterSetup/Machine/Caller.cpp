#include "FilterSetup/Machine/Caller.h"

#include <sddl.h>

#include <iterator>

#include "KuvAuth/Support/UniqueResource.h"

namespace FilterSetup {

namespace {

struct TokenTraits {
  using Value = HANDLE;
  static Value None() noexcept { return nullptr; }
  static void Close(Value token) noexcept { ::CloseHandle(token); }
};
using UniqueToken = Kuv::UniqueResource<TokenTraits>;

UniqueToken OpenToken(DWORD access) {
  UniqueToken token;
  if (::OpenProcessToken(::GetCurrentProcess(), access, token.Put()) == FALSE) return {};
  return token;
}

void EnablePrivilege(HANDLE token, const char* name) {
  TOKEN_PRIVILEGES privileges{};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (::LookupPrivilegeValueA(/*lpSystemName=*/nullptr, name, &privileges.Privileges[0].Luid) == FALSE)
    return;
  ::AdjustTokenPrivileges(token, /*DisableAllPrivileges=*/FALSE, &privileges, /*BufferLength=*/0,
                          /*PreviousState=*/nullptr, /*ReturnLength=*/nullptr);
}

// A TOKEN_USER and the identifier it points to.
struct UserBuffer {
  alignas(TOKEN_USER) BYTE bytes[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE] = {};

  PSID Account() const { return reinterpret_cast<const TOKEN_USER*>(bytes)->User.Sid; }
};

bool ReadUser(UserBuffer& user) {
  const UniqueToken token = OpenToken(TOKEN_QUERY);
  DWORD size = 0;
  return token &&
         ::GetTokenInformation(token.Get(), TokenUser, user.bytes, sizeof(user.bytes), &size) != FALSE;
}

}  // namespace

bool IsElevated() {
  const UniqueToken token = OpenToken(TOKEN_QUERY);
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  return token &&
         ::GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof(elevation), &size) != FALSE &&
         elevation.TokenIsElevated != 0;
}

void EnablePrivileges() {
  const UniqueToken token = OpenToken(TOKEN_QUERY | TOKEN_ADJUST_PRIVILEGES);
  if (!token) return;
  for (const char* const name : {SE_BACKUP_NAME, SE_RESTORE_NAME, SE_TAKE_OWNERSHIP_NAME}) {
    EnablePrivilege(token.Get(), name);
  }
}

std::wstring CallerName() {
  UserBuffer user;
  if (!ReadUser(user)) return L"unknown user";
  wchar_t name[257] = {};
  wchar_t domain[257] = {};
  auto nameUnits = static_cast<DWORD>(std::size(name));
  auto domainUnits = static_cast<DWORD>(std::size(domain));
  SID_NAME_USE use = SidTypeUnknown;
  if (::LookupAccountSidW(/*lpSystemName=*/nullptr, user.Account(), name, &nameUnits, domain, &domainUnits,
                          &use) != FALSE) {
    return std::wstring{domain} + L"\\" + name;
  }
  Kuv::UniqueLocalMemory<wchar_t> text;
  return ::ConvertSidToStringSidW(user.Account(), text.Put()) != FALSE ? text.Get() : L"unknown user";
}

bool IsCaller(PSID account) {
  UserBuffer user;
  return ReadUser(user) && ::EqualSid(user.Account(), account) != FALSE;
}

}  // namespace FilterSetup
