#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace KuvTest {

/// Returns the addresses of every entry of a module's import table that holds the named function.
std::vector<void**> FindImports(HMODULE module, const std::string& function);

/// Returns the name of a function that a loaded module exports under an ordinal; empty if it has none.
std::string NameOfExport(HMODULE module, DWORD ordinal);

/// Returns the name of every function that a module imports, as "DLL!name".
std::vector<std::string> ListImports(HMODULE module);

/// Writes an entry of an import table, which may be read-only.
void WriteImport(void** entry, void* function);

}  // namespace KuvTest
