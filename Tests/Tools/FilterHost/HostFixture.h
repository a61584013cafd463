#pragma once

#include <windows.h>
#include <shlobj.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include "FilterHost/FilterSession.h"
#include "Support/ImportHook.h"
#include "Support/RegistrySandbox.h"
#include "Tools/FilterHost/HostFiles.h"

namespace KuvTest {

constexpr wchar_t kKuvProvider[] = L"{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
constexpr wchar_t kPasswordProvider[] = L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
constexpr wchar_t kForeignProvider[] = L"{11111111-2222-3333-4444-555555555555}";

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
  FilterHost::UniqueLibrary dll;
  ImportHook<decltype(&::GetSystemMetrics)> metrics;
  ImportHook<decltype(&::SHGetFolderPathW)> filterFolder;
  ImportHook<decltype(&::SHGetFolderPathW)> hostFolder;
};

}  // namespace KuvTest
