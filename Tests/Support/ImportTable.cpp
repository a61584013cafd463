#include "Support/ImportTable.h"

#include <cstdint>
#include <stdexcept>

namespace KuvTest {

namespace {

template <typename Type>
Type* At(HMODULE module, std::size_t offset) {
  return reinterpret_cast<Type*>(reinterpret_cast<BYTE*>(module) + offset);
}

// Calls `visit(dll, function, entry)` for every function that is imported by name.
template <typename Visit>
void ForEachImport(HMODULE module, Visit visit) {
  const auto* const dos = At<IMAGE_DOS_HEADER>(module, 0);
  const auto* const headers = At<IMAGE_NT_HEADERS>(module, static_cast<std::size_t>(dos->e_lfanew));
  const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (directory.Size == 0) return;
  for (const auto* import = At<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress); import->Name != 0;
       ++import) {
    const char* const dll = At<char>(module, import->Name);
    const auto* name = At<IMAGE_THUNK_DATA>(module, import->OriginalFirstThunk);
    auto* entry = At<IMAGE_THUNK_DATA>(module, import->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++entry) {
      if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) continue;
      const auto* const byName =
          At<IMAGE_IMPORT_BY_NAME>(module, static_cast<std::size_t>(name->u1.AddressOfData));
      visit(dll, reinterpret_cast<const char*>(byName->Name), reinterpret_cast<void**>(&entry->u1.Function));
    }
  }
}

}  // namespace

std::vector<void**> FindImports(HMODULE module, const std::string& function) {
  std::vector<void**> entries;
  ForEachImport(module, [&](const char*, const char* name, void** entry) {
    if (function == name) entries.push_back(entry);
  });
  return entries;
}

std::vector<std::string> ListImports(HMODULE module) {
  std::vector<std::string> names;
  ForEachImport(module, [&](const char* dll, const char* name, void**) {
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
