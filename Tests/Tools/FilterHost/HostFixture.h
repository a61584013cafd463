#pragma once

#include <windows.h>
#include <shlobj.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include "FilterHost/FilterSession.h"
#include "Support/FilterModule.h"
#include "Support/ImportHook.h"
#include "Support/Providers.h"
#include "Support/RegistrySandbox.h"
#include "Tools/FilterHost/HostFiles.h"

namespace KuvTest {

/// The result of a run of the program.
struct HostRun {
  int exitCode;
  std::string out;
  std::string err;
};

/// Runs the program within this process.
HostRun RunHost(const std::vector<std::wstring>& arguments);

/// Parses JSON.
Json::Value ParseJson(const std::string& text);

/// Runs the program with `--json` and parses its output. Throws `std::runtime_error` if that fails.
Json::Value RunHostJson(std::vector<std::wstring> arguments);

/// Runs the host with the built DLL in this process: with a sandbox registry, in a console session, and with
/// a temporary application data folder.
class FilterHostFixture : public ::testing::Test {
 protected:
  FilterHostFixture();

  /// Writes the required settings.
  void Configure() const;
  static void Install(const std::wstring& identifier, const std::wstring& name);
  TestKey InstalledProviders() const;

  /// Returns the arguments that name the DLL, followed by others.
  std::vector<std::wstring> WithDll(const std::vector<std::wstring>& arguments) const;

  TestFolder folder;
  RegistrySandbox registry;
  /// Loaded before the host loads it, so that its imports can be replaced.
  FilterModule dll;
  ImportHook<decltype(&::GetSystemMetrics)> metrics;
  ImportHook<decltype(&::SHGetFolderPathW)> filterFolder;
  ImportHook<decltype(&::SHGetFolderPathW)> hostFolder;
};

}  // namespace KuvTest
