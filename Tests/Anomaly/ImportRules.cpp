// Every import of the DLL: how it can fail, or why it cannot.
#include <windows.h>
#include <aclapi.h>
#include <io.h>
#include <objbase.h>
#include <shlobj.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "Anomaly/Forwarder.h"

// The bare rule of a function: KUV_RULE(CloseHandle), KUV_RULE(GetSystemMetrics, TheAnswerInItsPlace).
#define KUV_RULE(function, ...) RuleOf<#function>(&::function __VA_OPT__(, ) __VA_ARGS__)

namespace KuvTest {

namespace {

// The formatters are templates as well.
using NarrowFormatter = int(__cdecl*)(char*, std::size_t, std::size_t, const char*, va_list);
using WideFormatter = int(__cdecl*)(wchar_t*, std::size_t, std::size_t, const wchar_t*, va_list);

using Codes = std::initializer_list<DWORD>;

// A function that answers with a status.
ImportRule Status(ImportRule rule, Codes codes) {
  for (const DWORD code : codes) rule.failures.push_back({static_cast<std::intptr_t>(code), ERROR_SUCCESS});
  rule.succeedsWithZero = true;
  return rule;
}

ImportRule Result(ImportRule rule, std::initializer_list<HRESULT> results) {
  for (const HRESULT result : results) rule.failures.push_back({result, ERROR_SUCCESS});
  rule.succeedsWithZero = true;
  return rule;
}

// A function that answers with one value, and a last error that tells why.
ImportRule Gives(ImportRule rule, std::intptr_t value, Codes errors) {
  for (const DWORD error : errors) rule.failures.push_back({value, error});
  return rule;
}

// Gives FALSE, null or 0.
ImportRule Nothing(ImportRule rule, Codes errors) {
  return Gives(std::move(rule), 0, errors);
}

ImportRule Opens(ImportRule rule, Resource resource, int argument = -1) {
  rule.opens = resource;
  rule.openedArgument = argument;
  return rule;
}

ImportRule Closes(ImportRule rule, Resource resource) {
  rule.closes = resource;
  rule.worksAllTheSame = true;
  return rule;
}

// Takes one resource and gives another, or fails and takes nothing.
ImportRule Moves(ImportRule rule, Resource resource) {
  rule.opens = rule.closes = resource;
  return rule;
}

ImportRule Recorded(ImportRule rule) {
  rule.recorded = true;
  return rule;
}

ImportRule Memory(ImportRule rule) {
  rule.domain = Domain::Memory;
  rule.failures.push_back({0, ERROR_NOT_ENOUGH_MEMORY});
  return rule;
}

HRESULT WINAPI AppDataOfTheTest(HWND, int, HANDLE, DWORD, wchar_t* path) {
  TheMachine().appData.copy(path, MAX_PATH - 1);
  return S_OK;
}

int WINAPI SessionOfTheTest(int) {
  return TheMachine().remoteSession;
}

BOOL WINAPI SizeOfTheTest(const wchar_t* path, GET_FILEEX_INFO_LEVELS level, void* data) {
  if (::GetFileAttributesExW(path, level, data) == FALSE) return FALSE;
  if (TheMachine().logIsFull) static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeLow = 1u << 20;
  return TRUE;
}

BOOL WINAPI WriteOfTheTest(HANDLE file, const void* bytes, DWORD count, DWORD* written,
                           OVERLAPPED* overlapped) {
  if (!TheMachine().dropsLog) return ::WriteFile(file, bytes, count, written, overlapped);
  *written = count;
  return TRUE;
}

// Nobody listens, and telling the system so takes it longer than all the rest of a line.
void WINAPI NoDebugger(const wchar_t*) {}

// Stands in the place of what must not be called.
template <typename Result, typename... Arguments>
Result __cdecl EndWithAReport(Arguments...) {
  std::printf("The DLL has called what it must not, at %s\n", DescribeFault().c_str());
  std::fflush(stdout);
  ::TerminateProcess(::GetCurrentProcess(), EXIT_FAILURE);
  std::abort();
}

const std::vector<ImportRule>& Rules() {
  using enum Resource;
  static const std::vector<ImportRule> rules = {
      // The registry.
      Recorded(Opens(Status(KUV_RULE(RegOpenKeyExA),
                            {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_NO_SYSTEM_RESOURCES}),
                     RegistryKey, 4)),
      Recorded(Opens(Status(KUV_RULE(RegOpenKeyExW),
                            {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, ERROR_NO_SYSTEM_RESOURCES}),
                     RegistryKey, 4)),
      Recorded(Status(KUV_RULE(RegQueryValueExA),
                      {ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA, ERROR_KEY_DELETED, ERROR_ACCESS_DENIED})),
      Recorded(Status(KUV_RULE(RegQueryValueExW),
                      {ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA, ERROR_KEY_DELETED, ERROR_ACCESS_DENIED})),
      Recorded(Opens(Status(KUV_RULE(RegCreateKeyExW),
                            {ERROR_ACCESS_DENIED, ERROR_REGISTRY_IO_FAILED, ERROR_KEY_DELETED}),
                     RegistryKey, 7)),
      Recorded(Status(KUV_RULE(RegSetValueExW), {ERROR_ACCESS_DENIED, ERROR_NO_SYSTEM_RESOURCES})),
      Recorded(Status(KUV_RULE(RegDeleteKeyW), {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND})),
      Closes(Status(KUV_RULE(RegCloseKey), {ERROR_INVALID_HANDLE}), RegistryKey),

      // The descriptor of the log folder.
      Opens(Nothing(KUV_RULE(AllocateAndInitializeSid), {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER}),
            Sid, 10),
      Nothing(KUV_RULE(CreateWellKnownSid), {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER}),
      Closes(KUV_RULE(FreeSid), Sid),
      Opens(Status(KUV_RULE(SetEntriesInAclW),
                   {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER, ERROR_INVALID_ACL}),
            LocalMemory, 3),
      Nothing(KUV_RULE(InitializeSecurityDescriptor), {ERROR_UNKNOWN_REVISION}),
      Nothing(KUV_RULE(SetSecurityDescriptorDacl), {ERROR_INVALID_SECURITY_DESCR, ERROR_INVALID_ACL}),
      Nothing(KUV_RULE(SetSecurityDescriptorControl), {ERROR_INVALID_PARAMETER}),
      Nothing(KUV_RULE(IsValidSecurityDescriptor), {ERROR_SUCCESS}),
      Status(KUV_RULE(SetNamedSecurityInfoW), {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND}),
      Opens(Nothing(KUV_RULE(LocalAlloc), {ERROR_NOT_ENOUGH_MEMORY}), LocalMemory),
      Closes(Gives(KUV_RULE(LocalFree), 1, {ERROR_INVALID_HANDLE}), LocalMemory),

      // The log file and its folder.
      Result(KUV_RULE(SHGetFolderPathW, AppDataOfTheTest), {E_FAIL, E_ACCESSDENIED, E_OUTOFMEMORY}),
      Gives(KUV_RULE(GetFileAttributesW), static_cast<std::intptr_t>(INVALID_FILE_ATTRIBUTES),
            {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}),
      Nothing(KUV_RULE(GetFileAttributesExW, SizeOfTheTest), {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}),
      Nothing(KUV_RULE(CreateDirectoryW),
              {ERROR_ACCESS_DENIED, ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND, ERROR_DISK_FULL}),
      Nothing(KUV_RULE(DeleteFileW), {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND}),
      Nothing(KUV_RULE(MoveFileExW), {ERROR_ACCESS_DENIED, ERROR_ALREADY_EXISTS, ERROR_SHARING_VIOLATION}),
      Opens(Gives(KUV_RULE(CreateFileW), -1,
                  {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_TOO_MANY_OPEN_FILES, ERROR_DISK_FULL}),
            Handle),
      Nothing(KUV_RULE(WriteFile, WriteOfTheTest), {ERROR_DISK_FULL, ERROR_IO_DEVICE, ERROR_INVALID_HANDLE}),
      Nothing(KUV_RULE(FlushFileBuffers), {ERROR_DISK_FULL, ERROR_INVALID_HANDLE}),
      Closes(Nothing(KUV_RULE(CloseHandle), {ERROR_INVALID_HANDLE}), Handle),

      // The system, the session, text.
      Nothing(KUV_RULE(GetModuleFileNameW), {ERROR_INVALID_HANDLE, ERROR_INSUFFICIENT_BUFFER}),
      Recorded(Nothing(KUV_RULE(GetSystemMetrics, SessionOfTheTest), {ERROR_SUCCESS})),
      Recorded(Nothing(KUV_RULE(ProcessIdToSessionId), {ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER})),
      Recorded(Nothing(KUV_RULE(VerifyVersionInfoW), {ERROR_OLD_WIN_VERSION, ERROR_BAD_ARGUMENTS})),
      Opens(Nothing(KUV_RULE(FormatMessageW), {ERROR_MR_MID_NOT_FOUND}), LocalMemory, 4),
      Nothing(KUV_RULE(MultiByteToWideChar), {ERROR_NO_UNICODE_TRANSLATION, ERROR_INSUFFICIENT_BUFFER}),
      Nothing(KUV_RULE(WideCharToMultiByte), {ERROR_NO_UNICODE_TRANSLATION, ERROR_INSUFFICIENT_BUFFER}),
      Gives(RuleOf<"_vsnprintf_s">(static_cast<NarrowFormatter>(&::_vsnprintf_s)), -1, {ERROR_SUCCESS}),
      Gives(RuleOf<"_vsnwprintf_s">(static_cast<WideFormatter>(&::_vsnwprintf_s)), -1, {ERROR_SUCCESS}),
      Gives(KUV_RULE(_vsnwprintf), -1, {ERROR_SUCCESS}),
      Gives(KUV_RULE(_vscprintf), -1, {ERROR_SUCCESS}),
      Gives(KUV_RULE(_vscwprintf), -1, {ERROR_SUCCESS}),

      // COM.
      Nothing(KUV_RULE(StringFromGUID2), {ERROR_SUCCESS}),
      Recorded(Result(KUV_RULE(CLSIDFromString), {CO_E_CLASSSTRING, E_OUTOFMEMORY, REGDB_E_READREGDB})),
      Recorded(Nothing(KUV_RULE(CoTaskMemAlloc), {ERROR_NOT_ENOUGH_MEMORY})),

      // What the compiler's runtime asks for.
      Nothing(KUV_RULE(VirtualProtect), {ERROR_ACCESS_DENIED, ERROR_INVALID_ADDRESS}),
      Nothing(KUV_RULE(VirtualQuery), {ERROR_INVALID_PARAMETER}),
      Opens(Nothing(KUV_RULE(LoadLibraryW), {ERROR_MOD_NOT_FOUND}), Module),
      Nothing(KUV_RULE(GetModuleHandleW), {ERROR_MOD_NOT_FOUND}),
      Nothing(KUV_RULE(GetProcAddress), {ERROR_PROC_NOT_FOUND}),

      // Memory of the heap.
      Memory(Opens(KUV_RULE(malloc), HeapBlock)),
      Memory(Opens(KUV_RULE(calloc), HeapBlock)),
      Memory(Moves(KUV_RULE(realloc), HeapBlock)),
      Closes(KUV_RULE(free), HeapBlock),

      // They must not be called at all. Most belong to parts of the runtime that this DLL links and does not
      // reach.
      KUV_RULE(abort, EndWithAReport),
      KUV_RULE(fputc, EndWithAReport),
      KUV_RULE(fputs, EndWithAReport),
      KUV_RULE(fwrite, EndWithAReport),
      KUV_RULE(vfprintf, EndWithAReport),
      KUV_RULE(strerror, EndWithAReport),
      KUV_RULE(_read, EndWithAReport),
      KUV_RULE(_close, EndWithAReport),

      // They cannot fail; the books need them, or the time that they take.
      KUV_RULE(OutputDebugStringW, NoDebugger),
      Opens(KUV_RULE(InitializeCriticalSectionAndSpinCount), CriticalSection, 0),
      Opens(KUV_RULE(InitializeCriticalSection), CriticalSection, 0),
      Closes(KUV_RULE(DeleteCriticalSection), CriticalSection),
      Opens(KUV_RULE(EnterCriticalSection), Lock, 0),
      Closes(KUV_RULE(LeaveCriticalSection), Lock),
  };
  return rules;
}

struct Reason {
  const char* import;
  const char* why;
};

constexpr char kNoFailure[] = "the platform defines no failure for it";
constexpr char kPure[] = "computes from its arguments alone";
constexpr char kUnwinds[] = "carries an exception; a failure of it ends the process by definition";
constexpr char kEnds[] = "ends the process, so the sweeps would not live if it were called";

constexpr Reason kReasons[] = {
    {"GetCurrentProcessId", kNoFailure},
    {"GetCurrentThreadId", kNoFailure},
    {"GetLastError", kNoFailure},
    {"SetLastError", kNoFailure},
    {"GetLocalTime", kNoFailure},
    {"GetSystemTimeAsFileTime", kNoFailure},
    {"QueryPerformanceCounter", "does not fail on any version of the platform that is supported"},
    {"OutputDebugStringA", kNoFailure},
    {"Sleep", kNoFailure},
    {"TlsGetValue", "fails only for an index that was not handed out"},
    {"VerSetConditionMask", kPure},
    {"IsDBCSLeadByteEx", kPure},
    {"RaiseException", kUnwinds},
    {"RtlCaptureContext", kUnwinds},
    {"RtlLookupFunctionEntry", kUnwinds},
    {"RtlUnwindEx", kUnwinds},
    {"RtlVirtualUnwind", kUnwinds},
    {"_amsg_exit", kEnds},
    {"atoi", kPure},
    {"isspace", kPure},
    {"iswspace", kPure},
    {"tolower", kPure},
    {"towlower", kPure},
    {"memchr", kPure},
    {"memcmp", kPure},
    {"memcpy", kPure},
    {"memmove", kPure},
    {"memset", kPure},
    {"strcmp", kPure},
    {"strlen", kPure},
    {"strncmp", kPure},
    {"wcslen", kPure},
    {"_errno", kNoFailure},
    {"_initterm", kNoFailure},
    {"_lock", kNoFailure},
    {"_unlock", kNoFailure},
    {"__iob_func", kNoFailure},
    {"___lc_codepage_func", kNoFailure},
    {"___mb_cur_max_func", kNoFailure},
    {"localeconv", kNoFailure},
};

}  // namespace

std::span<const ImportRule> ImportRules() {
  return Rules();
}

const char* WhyItCannotFail(const std::string& import) {
  for (const Reason& reason : kReasons) {
    if (import == reason.import) return reason.why;
  }
  return nullptr;
}

}  // namespace KuvTest
