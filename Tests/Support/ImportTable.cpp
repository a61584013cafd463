#include "Support/ImportTable.h"

#include <cstdint>
#include <stdexcept>

namespace KuvTest {

namespace {

template <typename Type>
Type* At(HMODULE module, std::size_t offset) {
  return reinterpret_cast<Type*>(reinterpret_cast<BYTE*>(module) + offset);
}

const IMAGE_DATA_DIRECTORY& Directory(HMODULE module, std::size_t index) {
  const auto* const dos = At<IMAGE_DOS_HEADER>(module, 0);
  const auto* const headers = At<IMAGE_NT_HEADERS>(module, static_cast<std::size_t>(dos->e_lfanew));
  return headers->OptionalHeader.DataDirectory[index];
}

// Calls `visit(dll, function, entry)` for every function that is imported. The platform's import library
// imports older functions of some DLLs, such as those for sockets, by ordinal: these get the names that the
// DLL exports.
template <typename Visit>
void ForEachImport(HMODULE module, Visit visit) {
  const IMAGE_DATA_DIRECTORY& directory = Directory(module, IMAGE_DIRECTORY_ENTRY_IMPORT);
  if (directory.Size == 0) return;
  for (const auto* import = At<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); import->Name != 0;
       ++import) {
    const char* const dll = At<char>(module, import->Name);
    const auto* name = At<IMAGE_THUNK_DATA>(module, import->OriginalFirstThunk);
    auto* entry = At<IMAGE_THUNK_DATA>(module, import->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++entry) {
      auto** const function = reinterpret_cast<void**>(&entry->u1.Function);
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
        visit(dll, NameOfExport(::GetModuleHandleA(dll), IMAGE_ORDINAL(name->u1.Ordinal)), function);
        continue;
      }
      const auto* const byName =
          At<IMAGE_IMPORT_BY_NAME>(module, static_cast<std::size_t>(name->u1.AddressOfData));
      visit(dll, std::string{reinterpret_cast<const char*>(byName->Name)}, function);
    }
  }
}

}  // namespace

std::string NameOfExport(HMODULE module, DWORD ordinal) {
  const IMAGE_DATA_DIRECTORY& directory = Directory(module, IMAGE_DIRECTORY_ENTRY_EXPORT);
  if (directory.Size == 0) return {};
  const auto* const exports = At<IMAGE_EXPORT_DIRECTORY>(module, directory.VirtualAddress);
  const auto* const names = At<DWORD>(module, exports->AddressOfNames);
  const auto* const ordinals = At<WORD>(module, exports->AddressOfNameOrdinals);
  for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
    if (exports->Base + ordinals[i] == ordinal) return At<char>(module, names[i]);
  }
  return {};
}

std::vector<void**> FindImports(HMODULE module, const std::string& function) {
  std::vector<void**> entries;
  ForEachImport(module, [&](const char*, const std::string& name, void** entry) {
    if (function == name) entries.push_back(entry);
  });
  return entries;
}

std::vector<std::string> ListImports(HMODULE module) {
  std::vector<std::string> names;
  ForEachImport(module, [&](const char* dll, const std::string& name, void**) {
    names.push_back(std::string{dll} + "!" + name);
  });
  return names;
}

void WriteImport(void** entry, void* function) {
  DWORD protection = 0;
  if (::VirtualProtect(entry, sizeof(*entry), PAGE_READWRITE, &protection) == FALSE) {
    throw std::runtime_error{"an import table entry cannot be made writable"};
  }
  *entry = function;
  ::VirtualProtect(entry, sizeof(*entry), protection, &protection);
}

}  // namespace KuvTest
