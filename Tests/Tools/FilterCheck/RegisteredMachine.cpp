#include "Tools/FilterCheck/RegisteredMachine.h"

#include <cwchar>

#include "FilterCheck/Model/Finding.h"

namespace KuvTest {

const ViewKeys kView64{
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider Filters\\",
    L"SOFTWARE\\Classes\\CLSID\\"};
const ViewKeys kView32{
    L"SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider "
    L"Filters\\",
    L"SOFTWARE\\WOW6432Node\\Classes\\CLSID\\"};

std::string ModuleBytes(std::uint16_t machine) {
  std::string bytes(0x60, '\0');
  bytes.replace(0, 2, "MZ");
  bytes[0x3C] = 0x40;
  bytes.replace(0x40, 2, "PE");
  bytes[0x44] = static_cast<char>(machine & 0xFF);
  bytes[0x45] = static_cast<char>(machine >> 8);
  return bytes;
}

namespace {

// The answer of the replaced `IsWow64Process2`.
USHORT g_nativeMachine = 0;

BOOL WINAPI AnswerNativeMachine(HANDLE, USHORT* process, USHORT* native) {
  *process = IMAGE_FILE_MACHINE_UNKNOWN;
  *native = g_nativeMachine;
  return TRUE;
}

}  // namespace

NativeMachine::NativeMachine(std::uint16_t machine) : functions_("GetProcAddress") {
  functions_.Answer([this, machine](HMODULE module, LPCSTR name) {
    if (std::string_view{name} != "IsWow64Process2") return functions_.Original(module, name);
    g_nativeMachine = machine;
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&AnswerNativeMachine));
  });
}

RegisteredMachine::RegisteredMachine()
    : module64(folder.Path(L"KuvCredFilter.dll")),
      module32(folder.Path(L"KuvCredFilter32.dll")),
      program_("GetModuleFileNameW"),
      folderAccess_("GetNamedSecurityInfoW") {
  folderAccess_.Answer([](auto...) { return DWORD{ERROR_FILE_NOT_FOUND}; });
  program_.Answer([this](HMODULE, LPWSTR path, DWORD) {
    const std::wstring program = programs.Path(L"KuvFilterCheck.exe");
    std::wcscpy(path, program.c_str());
    return static_cast<DWORD>(program.size());
  });
  WriteFileBytes(module64, ModuleBytes(kX64));
  WriteFileBytes(module32, ModuleBytes(kX86));
  Register(kView64, kFilterClassText, module64);
  Register(kView32, kFilterClassText, module32);
}

void RegisteredMachine::Register(const ViewKeys& view, const std::wstring& identifier,
                                 const std::wstring& module) {
  Class(view, identifier).SetText(L"", L"Some filter");
  Server(view, identifier).SetText(L"", module);
  Server(view, identifier).SetText(L"ThreadingModel", L"Apartment");
  Entry(view, identifier).SetText(L"", L"Some filter");
}

TestKey RegisteredMachine::Class(const ViewKeys& view, const std::wstring& identifier) {
  return {HKEY_LOCAL_MACHINE, view.classes + identifier};
}

TestKey RegisteredMachine::Server(const ViewKeys& view, const std::wstring& identifier) {
  return {HKEY_LOCAL_MACHINE, view.classes + identifier + L"\\InprocServer32"};
}

TestKey RegisteredMachine::Entry(const ViewKeys& view, const std::wstring& identifier) {
  return {HKEY_LOCAL_MACHINE, view.filters + identifier};
}

FilterCheck::Finding OnlyFinding(const FilterCheck::Findings& findings, const std::string& id) {
  FilterCheck::Finding found{};
  int count = 0;
  for (const FilterCheck::Finding& finding : findings) {
    if (finding.id != id) continue;
    found = finding;
    ++count;
  }
  EXPECT_EQ(count, 1) << id;
  return found;
}

}  // namespace KuvTest
