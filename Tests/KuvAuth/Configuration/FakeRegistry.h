#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KuvAuth/Registry/Registry.h"

namespace KuvTest {

/// An in-memory registry that behaves like the platform's: it tracks the open keys, reports type and size of
/// a value, rejects a buffer that is too small, and fills output buffers with garbage where the platform
/// may. Text is stored in the width in which it is queried. Records every call as a line:
///
///   OpenKeyA HKLM\Software\Kuvant\KuvCredProv options 0 access 0x1
///   QueryValueA Host type 1 size 1024
///   CloseKey Software\Kuvant\KuvCredProv
class FakeRegistry final : public IRegistry {
 public:
  ~FakeRegistry() override;

  void CreateKey(const std::string& path) { keys_[path]; }
  void Set(const std::string& path, const std::string& name, DWORD type, const void* data, std::size_t size);
  void SetDword(const std::string& path, const std::string& name, std::uint32_t value);
  /// Writes a `REG_SZ` value with its terminator.
  void SetText(const std::string& path, const std::string& name, std::string_view text);

  /// Sets the status of every query of this value, which still fills buffer, type and size as on success.
  void FailQuery(const std::string& name, LSTATUS status) { queryFailures_[name] = status; }
  /// Sets the status of the n-th `OpenKeyA` (the first is 1).
  void FailOpen(std::size_t number, LSTATUS status) { openFailures_[number] = status; }
  /// Sets the status of every `CloseKey`, which still closes the key.
  void AnswerClose(LSTATUS status) { closeStatus_ = status; }

  /// Returns the calls so far.
  const std::vector<std::string>& Calls() const { return calls_; }
  void ClearCalls() { calls_.clear(); }
  /// Returns the number of calls so far that begin with this text.
  std::size_t CountCalls(std::string_view start) const;

  LSTATUS QueryValueA(HKEY key, const char* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) override;
  LSTATUS OpenKeyA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result) override;
  LSTATUS CloseKey(HKEY key) override;
  LSTATUS QueryValueW(HKEY key, const wchar_t* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) override;
  void WriteQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName, std::uint64_t value) override;
  std::uint64_t ReadQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                          std::uint64_t defaultValue) override;

 private:
  struct Value {
    DWORD type;
    std::vector<BYTE> data;
  };
  using Key = std::map<std::string, Value>;

  LSTATUS Query(HKEY key, const std::string& name, DWORD* type, BYTE* data, DWORD* size);

  std::map<std::string, Key> keys_;
  std::map<HKEY, std::string> opened_;
  std::uintptr_t lastHandle_ = 0x1000;
  std::size_t opens_ = 0;
  std::map<std::size_t, LSTATUS> openFailures_;
  std::map<std::string, LSTATUS> queryFailures_;
  LSTATUS closeStatus_ = ERROR_SUCCESS;
  std::vector<std::string> calls_;
};

}  // namespace KuvTest
