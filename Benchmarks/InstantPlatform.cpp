#include "InstantPlatform.h"

#include <windows.h>

#include <stdexcept>
#include <string>

#include "Support/ImportTable.h"

namespace KuvBench {

namespace {

LSTATUS WINAPI OpenKeyA(HKEY root, LPCSTR, DWORD, REGSAM, PHKEY key) {
  *key = root;
  return ERROR_SUCCESS;
}

LSTATUS WINAPI OpenKeyW(HKEY root, LPCWSTR, DWORD, REGSAM, PHKEY key) {
  *key = root;
  return ERROR_SUCCESS;
}

LSTATUS WINAPI QueryValueA(HKEY, LPCSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) {
  return ERROR_FILE_NOT_FOUND;
}

// The console session remains 0, like the session of the process below.
LSTATUS WINAPI QueryValueW(HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) {
  return ERROR_SUCCESS;
}

LSTATUS WINAPI CloseKey(HKEY) {
  return ERROR_SUCCESS;
}

int WINAPI Metric(int) {
  return 0;
}

BOOL WINAPI SessionOfProcess(DWORD, DWORD* session) {
  *session = 0;
  return TRUE;
}

BOOL WINAPI VerifyVersion(LPOSVERSIONINFOEXW, DWORD, DWORDLONG) {
  return TRUE;
}

ULONGLONG WINAPI SetConditionMask(ULONGLONG mask, DWORD, BYTE) {
  return mask;
}

template <typename Function>
void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

}  // namespace

InstantPlatform::InstantPlatform() {
  const std::pair<const char*, void*> replacements[] = {
      {"RegOpenKeyExA", Address(OpenKeyA)},
      {"RegOpenKeyExW", Address(OpenKeyW)},
      {"RegQueryValueExA", Address(QueryValueA)},
      {"RegQueryValueExW", Address(QueryValueW)},
      {"RegCloseKey", Address(CloseKey)},
      {"GetSystemMetrics", Address(Metric)},
      {"ProcessIdToSessionId", Address(SessionOfProcess)},
      {"VerifyVersionInfoW", Address(VerifyVersion)},
      {"VerSetConditionMask", Address(SetConditionMask)},
  };
  for (const auto& [name, function] : replacements) {
    const std::vector<void**> entries = KuvTest::FindImports(::GetModuleHandleW(nullptr), name);
    if (entries.empty()) throw std::runtime_error{std::string{name} + " is not imported"};
    for (void** const entry : entries) {
      replaced_.emplace_back(entry, *entry);
      KuvTest::WriteImport(entry, function);
    }
  }
}

InstantPlatform::~InstantPlatform() {
  for (const auto& [entry, function] : replaced_) KuvTest::WriteImport(entry, function);
}

}  // namespace KuvBench
