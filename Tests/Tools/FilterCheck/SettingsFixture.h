#pragma once

#include <windows.h>
#include <shlobj.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FilterCheck/SettingsCheck.h"
#include "Support/ImportHook.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace KuvTest {

constexpr wchar_t kKuv[] = L"{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
constexpr wchar_t kKuvSmartCard[] = L"{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}";
constexpr wchar_t kSmartCard[] = L"{8FD7E19C-3BF7-489B-A72C-846AB3678C96}";
constexpr wchar_t kPassword[] = L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
constexpr wchar_t kVendor[] = L"{11111111-2222-3333-4444-555555555555}";

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
