#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace KuvTest {

inline constexpr wchar_t kChildVariable[] = L"KUV_TEST_CHILD";

/// Returns the argument of `RunAgainInChild` in the process that it starts; an empty text in any other.
inline std::wstring ChildArgument() {
  wchar_t argument[1024] = {};
  ::GetEnvironmentVariableW(kChildVariable, argument, 1024);
  return argument;
}

/// Runs the current test in another process of this program and waits for it. There, `ChildArgument` returns
/// `argument`, which must not be empty. Returns the exit code. Throws `std::runtime_error` if the process
/// cannot be started.
inline DWORD RunAgainInChild(const std::wstring& argument) {
  wchar_t program[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  const auto& test = *::testing::UnitTest::GetInstance()->current_test_info();
  const std::string name = std::string{test.test_suite_name()} + "." + test.name();
  std::wstring commandLine = L"\"" + std::wstring{program} + L"\" --gtest_brief=1 --gtest_filter=" +
                             std::wstring(name.begin(), name.end());
  ::SetEnvironmentVariableW(kChildVariable, argument.c_str());
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  const BOOL created = ::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr,
                                        /*bInheritHandles=*/FALSE, 0, nullptr, nullptr, &startup, &started);
  ::SetEnvironmentVariableW(kChildVariable, nullptr);
  if (created == FALSE) throw std::runtime_error{"the program cannot be started again"};
  ::WaitForSingleObject(started.hProcess, INFINITE);
  DWORD exitCode = EXIT_FAILURE;
  ::GetExitCodeProcess(started.hProcess, &exitCode);
  ::CloseHandle(started.hThread);
  ::CloseHandle(started.hProcess);
  return exitCode;
}

}  // namespace KuvTest
