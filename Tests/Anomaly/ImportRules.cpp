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

// The plain rule of a function: KUV_RULE(CloseHandle), KUV_RULE(GetSystemMetrics, ReplacementAnswer).
#define KUV_RULE(function, ...) RuleOf<#function>(&::function __VA_OPT__(, ) __VA_ARGS__)

namespace KuvTest {

namespace {

// The formatters have template overloads as well.
using NarrowFormatter = int(__cdecl*)(char*, std::size_t, std::size_t, const char*, va_list);
using WideFormatter = int(__cdecl*)(wchar_t*, std::size_t, std::size_t, const wchar_t*, va_list);

using Codes = std::initializer_list<DWORD>;

// A function that returns a status.
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

// A function that returns one value on failure and sets the last error.
ImportRule Fails(ImportRule rule, std::intptr_t value, Codes errors) {
  for (const DWORD error : errors) rule.failures.push_back({value, error});
  return rule;
}

// A function that returns FALSE, null or 0 on failure.
ImportRule FailsWithZero(ImportRule rule, Codes errors) {
  return Fails(std::move(rule), 0, errors);
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

// Closes one resource and opens another, or fails and closes nothing.
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

// No debugger is attached, and finding that out takes longer than the rest of a log line.
void WINAPI NoDebugger(const wchar_t*) {}

[[noreturn]] void ReportForbiddenCall() {
  std::printf("The DLL called a forbidden function, at %s\n", DescribeFault().c_str());
  std::fflush(stdout);
  ::TerminateProcess(::GetCurrentProcess(), EXIT_FAILURE);
  std::abort();
}

// They replace a function of the C runtime, and one of the platform, that must not be called.
template <typename Result, typename... Arguments>
Result __cdecl ReportAndTerminate(Arguments...) {
  ReportForbiddenCall();
}

template <typename Result, typename... Arguments>
Result WINAPI ReportAndTerminatePlatform(Arguments...) {
  ReportForbiddenCall();
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
      Opens(FailsWithZero(KUV_RULE(AllocateAndInitializeSid),
                          {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER}),
            Sid, 10),
      FailsWithZero(KUV_RULE(CreateWellKnownSid), {ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER}),
      Closes(KUV_RULE(FreeSid), Sid),
      Opens(Status(KUV_RULE(SetEntriesInAclW),
                   {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER, ERROR_INVALID_ACL}),
            LocalMemory, 3),
      FailsWithZero(KUV_RULE(InitializeSecurityDescriptor), {ERROR_UNKNOWN_REVISION}),
      FailsWithZero(KUV_RULE(SetSecurityDescriptorDacl), {ERROR_INVALID_SECURITY_DESCR, ERROR_INVALID_ACL}),
      FailsWithZero(KUV_RULE(SetSecurityDescriptorControl), {ERROR_INVALID_PARAMETER}),
      FailsWithZero(KUV_RULE(IsValidSecurityDescriptor), {ERROR_SUCCESS}),
      Status(KUV_RULE(SetNamedSecurityInfoW), {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND}),
      Opens(FailsWithZero(KUV_RULE(LocalAlloc), {ERROR_NOT_ENOUGH_MEMORY}), LocalMemory),
      Closes(Fails(KUV_RULE(LocalFree), 1, {ERROR_INVALID_HANDLE}), LocalMemory),

      // The log file and its folder.
      Result(KUV_RULE(SHGetFolderPathW, AppDataOfTheTest), {E_FAIL, E_ACCESSDENIED, E_OUTOFMEMORY}),
      Fails(KUV_RULE(GetFileAttributesW), static_cast<std::intptr_t>(INVALID_FILE_ATTRIBUTES),
            {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}),
      FailsWithZero(KUV_RULE(GetFileAttributesExW, SizeOfTheTest),
                    {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}),
      FailsWithZero(KUV_RULE(CreateDirectoryW),
                    {ERROR_ACCESS_DENIED, ERROR_ALREADY_EXISTS, ERROR_PATH_NOT_FOUND, ERROR_DISK_FULL}),
      FailsWithZero(KUV_RULE(DeleteFileW), {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND}),
      FailsWithZero(KUV_RULE(MoveFileExW),
                    {ERROR_ACCESS_DENIED, ERROR_ALREADY_EXISTS, ERROR_SHARING_VIOLATION}),
      Opens(Fails(KUV_RULE(CreateFileW), -1,
                  {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_TOO_MANY_OPEN_FILES, ERROR_DISK_FULL}),
            Handle),
      FailsWithZero(KUV_RULE(WriteFile, WriteOfTheTest),
                    {ERROR_DISK_FULL, ERROR_IO_DEVICE, ERROR_INVALID_HANDLE}),
      FailsWithZero(KUV_RULE(FlushFileBuffers), {ERROR_DISK_FULL, ERROR_INVALID_HANDLE}),
      Closes(FailsWithZero(KUV_RULE(CloseHandle), {ERROR_INVALID_HANDLE}), Handle),

      // The system, the session, text.
      FailsWithZero(KUV_RULE(GetModuleFileNameW), {ERROR_INVALID_HANDLE, ERROR_INSUFFICIENT_BUFFER}),
      Recorded(FailsWithZero(KUV_RULE(GetSystemMetrics, SessionOfTheTest), {ERROR_SUCCESS})),
      Recorded(FailsWithZero(KUV_RULE(ProcessIdToSessionId), {ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER})),
      Recorded(FailsWithZero(KUV_RULE(VerifyVersionInfoW), {ERROR_OLD_WIN_VERSION, ERROR_BAD_ARGUMENTS})),
      Opens(FailsWithZero(KUV_RULE(FormatMessageW), {ERROR_MR_MID_NOT_FOUND}), LocalMemory, 4),
      FailsWithZero(KUV_RULE(MultiByteToWideChar), {ERROR_NO_UNICODE_TRANSLATION, ERROR_INSUFFICIENT_BUFFER}),
      FailsWithZero(KUV_RULE(WideCharToMultiByte), {ERROR_NO_UNICODE_TRANSLATION, ERROR_INSUFFICIENT_BUFFER}),
      Fails(RuleOf<"_vsnprintf_s">(static_cast<NarrowFormatter>(&::_vsnprintf_s)), -1, {ERROR_SUCCESS}),
      Fails(RuleOf<"_vsnwprintf_s">(static_cast<WideFormatter>(&::_vsnwprintf_s)), -1, {ERROR_SUCCESS}),
      Fails(KUV_RULE(_vsnwprintf), -1, {ERROR_SUCCESS}),
      Fails(KUV_RULE(_vscprintf), -1, {ERROR_SUCCESS}),
      Fails(KUV_RULE(_vsnprintf), -1, {ERROR_SUCCESS}),  // on 32 bits, instead of _vscprintf
      Fails(KUV_RULE(_vscwprintf), -1, {ERROR_SUCCESS}),

      // COM.
      FailsWithZero(KUV_RULE(StringFromGUID2), {ERROR_SUCCESS}),
      Recorded(Result(KUV_RULE(CLSIDFromString), {CO_E_CLASSSTRING, E_OUTOFMEMORY, REGDB_E_READREGDB})),
      Recorded(FailsWithZero(KUV_RULE(CoTaskMemAlloc), {ERROR_NOT_ENOUGH_MEMORY})),

      // The compiler's runtime.
      Opens(FailsWithZero(KUV_RULE(LoadLibraryW), {ERROR_MOD_NOT_FOUND}), Module),
      FailsWithZero(KUV_RULE(GetModuleHandleW), {ERROR_MOD_NOT_FOUND}),
      // These three are imported on 32 bits only.
      Opens(FailsWithZero(KUV_RULE(LoadLibraryA), {ERROR_MOD_NOT_FOUND}), Module),
      FailsWithZero(KUV_RULE(GetModuleHandleA), {ERROR_MOD_NOT_FOUND}),
      Closes(FailsWithZero(KUV_RULE(FreeLibrary), {ERROR_INVALID_HANDLE}), Module),
      FailsWithZero(KUV_RULE(GetProcAddress), {ERROR_PROC_NOT_FOUND}),

      // The heap.
      Memory(Opens(KUV_RULE(malloc), HeapBlock)),
      Memory(Opens(KUV_RULE(calloc), HeapBlock)),
      Memory(Moves(KUV_RULE(realloc), HeapBlock)),
      Closes(KUV_RULE(free), HeapBlock),

      // Functions that must not be called. Most belong to parts of the runtime that the DLL links but
      // does not use.
      KUV_RULE(strerror, ReportAndTerminate),
      KUV_RULE(FormatMessageA, ReportAndTerminatePlatform),
      KUV_RULE(_read, ReportAndTerminate),
      KUV_RULE(_close, ReportAndTerminate),

      // Functions that cannot fail: they open or close a resource, or take too much time.
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
constexpr char kPure[] = "computes from its arguments only";
constexpr char kUnwinds[] = "carries an exception; its failure ends the process by definition";
constexpr char kEnds[] = "ends the process, which the sweeps would not survive";

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
    {"wcslen", kPure},
    {"_errno", kNoFailure},
    {"_initterm", kNoFailure},
    {"_lock", kNoFailure},
    {"_unlock", kNoFailure},
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
