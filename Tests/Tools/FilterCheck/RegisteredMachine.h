#pragma once

#include <windows.h>
#include <aclapi.h>

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FilterCheck/Model/Report.h"
#include "Support/ImportHook.h"
#include "Support/TempFolder.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace KuvTest {

/// The key paths of one of the two registry views.
struct ViewKeys {
  std::wstring filters;
  std::wstring classes;
};
extern const ViewKeys kView64;
extern const ViewKeys kView32;

/// Returns the smallest valid module of a machine type.
std::string ModuleBytes(std::uint16_t machine);
inline constexpr std::uint16_t kX64 = 0x8664;
inline constexpr std::uint16_t kX86 = 0x14C;
inline constexpr std::uint16_t kArm64 = 0xAA64;

/// The native architecture of Windows that the program sees during a scope.
class NativeMachine {
 public:
  explicit NativeMachine(std::uint16_t machine);

 private:
  ImportHook<decltype(&::GetProcAddress)> functions_;
};

/// An x64 machine with a valid registration of the filter in both views and modules in a temporary folder,
/// which only administrators can change. The program appears to be in `programs`.
class RegisteredMachine : public SettingsFixture {
 protected:
  RegisteredMachine();

  /// Registers a class with a module and adds it to the list of filters.
  static void Register(const ViewKeys& view, const std::wstring& identifier, const std::wstring& module);
  static TestKey Class(const ViewKeys& view, const std::wstring& identifier = kFilterClassText);
  static TestKey Server(const ViewKeys& view, const std::wstring& identifier = kFilterClassText);
  static TestKey Entry(const ViewKeys& view, const std::wstring& identifier = kFilterClassText);

  static constexpr wchar_t kForeign[] = L"{11111111-2222-3333-4444-555555555555}";

  TempFolder folder;
  TempFolder programs;
  std::wstring module64;
  std::wstring module32;

 private:
  ImportHook<decltype(&::GetModuleFileNameW)> program_;
  ImportHook<decltype(&::GetNamedSecurityInfoW)> folderAccess_;
  NativeMachine machine_{kX64};
};

/// Returns the finding with an id. Fails the test if there is not exactly one.
FilterCheck::Finding OnlyFinding(const FilterCheck::Findings& findings, const std::string& id);

}  // namespace KuvTest
