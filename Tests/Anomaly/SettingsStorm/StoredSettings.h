#pragma once

#include <windows.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace KuvTest {

using Bytes = std::vector<std::uint8_t>;

/// One value as stored in the registry.
struct StoredValue {
  std::string name;
  DWORD type;
  Bytes data;
};

/// One settings key: absent, or present with these values, each name at most once.
struct StoredKey {
  bool exists = false;
  std::vector<StoredValue> values;

  const StoredValue* Find(const std::string& name) const;
};

/// The settings of a machine.
struct StoredSettings {
  StoredKey local;
  StoredKey policy;

  /// Writes both keys below `HKEY_LOCAL_MACHINE`, replacing what was there. Throws `std::runtime_error`.
  void Store() const;
};

/// Creates settings from a seed: mostly usual ones, mixed with wrong types and sizes, missing terminators,
/// limits and noise. The same seed produces the same settings on every machine.
StoredSettings MakeSettings(std::uint64_t seed);

/// Returns all variants of the settings with one value or key removed, or with data truncated.
std::vector<StoredSettings> SmallerSettings(const StoredSettings& settings);

/// Returns all settings, one value per line.
std::string Describe(const StoredSettings& settings);

}  // namespace KuvTest
