#pragma once

#include <windows.h>
#include <shlobj.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FilterCheck/SettingsCheck.h"
#include "Support/ImportHook.h"
#include "Support/Providers.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace KuvTest {

/// A machine without findings: complete settings that only administrators can read, the usual providers, and
/// an application data folder without the folder of the filter.
class SettingsFixture : public ::testing::Test {
 protected:
  SettingsFixture();
  ~SettingsFixture() override;

  /// Writes the settings again after a test has deleted the keys.
  void WriteGoodSettings() const;
  static TestKey ProviderKey(const std::wstring& identifier);

  TempFolder appData;
  RegistrySandbox registry;
  ImportHook<decltype(&::SHGetFolderPathW)> folderPath;

 private:
  /// What-if settings end the redirection of the registry, which here returns to the sandbox.
  ImportHook<decltype(&::RegOverridePredefKey)> redirect_;
};

/// Restricts both settings keys to SYSTEM and Administrators.
void CloseKeys();

/// Returns the state of one setting.
const FilterCheck::SettingState& StateOf(const FilterCheck::Situation& situation, std::string_view name);

/// Returns the ids of the findings, in order.
std::vector<std::string> Ids(const FilterCheck::Findings& findings);
std::vector<std::string> IdsOf(const FilterCheck::Situation& situation);

/// Returns every field of a situation as lines of text, for comparison and search.
std::string Describe(const FilterCheck::Situation& situation);

/// Returns every key and value below `HKEY_LOCAL_MACHINE`, with type and bytes.
std::string Snapshot();

}  // namespace KuvTest
