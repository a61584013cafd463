#pragma once

#include <string>
#include <vector>

#include "Support/ImportHook.h"

namespace KuvTest {

/// Captures the debugger stream for the lifetime of the object.
class DebuggerStream {
 public:
  DebuggerStream() {
    wideHook_.Answer([this](const wchar_t* text) { wide.emplace_back(text); });
    narrowHook_.Answer([this](const char* text) { narrow.emplace_back(text); });
  }

  std::vector<std::wstring> wide;
  std::vector<std::string> narrow;

 private:
  ImportHook<decltype(&::OutputDebugStringW)> wideHook_{"OutputDebugStringW"};
  ImportHook<decltype(&::OutputDebugStringA)> narrowHook_{"OutputDebugStringA"};
};

}  // namespace KuvTest
