#pragma once

#include <windows.h>

#include "KuvCredFilter/CredentialProviderApi.h"

namespace KuvBench {

/// The built DLL, loaded, with one filter object made by its class factory. Its log goes to a folder of
/// the benchmark's own. The end of the scope releases and unloads it. Throws `std::runtime_error`.
class LoadedFilter {
 public:
  LoadedFilter();
  ~LoadedFilter();
  LoadedFilter(const LoadedFilter&) = delete;
  LoadedFilter& operator=(const LoadedFilter&) = delete;

  ICredentialProviderFilter& Filter() const noexcept { return *filter_; }

  /// From here on what the log hands to the debugger and to the file is dropped.
  void DropLogOutput() const;

 private:
  HMODULE module_;
  ICredentialProviderFilter* filter_ = nullptr;
};

}  // namespace KuvBench
