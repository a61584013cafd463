#pragma once

#include <windows.h>

#include "KuvCredFilter/CredentialProviderApi.h"

namespace KuvBench {

/// Loads the built DLL and creates a filter object by its class factory; releases and unloads both at the end
/// of the scope. The log is in a temporary folder.
class LoadedFilter {
 public:
  /// Throws `std::runtime_error`.
  LoadedFilter();
  ~LoadedFilter();
  LoadedFilter(const LoadedFilter&) = delete;
  LoadedFilter& operator=(const LoadedFilter&) = delete;

  ICredentialProviderFilter& Filter() const noexcept { return *filter_; }

  /// Drops what the log writes to the debugger and to the file from now on.
  void DropLogOutput() const;

 private:
  HMODULE module_;
  ICredentialProviderFilter* filter_ = nullptr;
};

}  // namespace KuvBench
