#pragma once

#include <windows.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace KuvTest {

using Bytes = std::vector<std::uint8_t>;

/// One value as the registry keeps it.
struct StoredValue {
  std::string name;
  DWORD type;
  Bytes data;
};

/// One settings key: absent, or there with these values, each name at most once.
struct StoredKey {
  bool exists = false;
  std::vector<StoredValue> values;

  const StoredValue* Find(const std::string& name) const;
};

/// What an administrator, or somebody worse, has left on the machine.
struct StoredSettings {
  StoredKey local;
  StoredKey policy;

  /// Writes both keys below `HKEY_LOCAL_MACHINE`, replacing what was there. Throws `std::runtime_error`.
  void Store() const;
};

/// Makes settings from a seed: mostly such as are in use, mixed with wrong types and sizes, missing
/// terminators, limits and noise. The same seed gives the same settings everywhere.
StoredSettings MakeSettings(std::uint64_t seed);

/// Gives the same settings with one value or one key less, or with data cut in half, for each way to do so.
std::vector<StoredSettings> SmallerSettings(const StoredSettings& settings);

/// All of the settings, a value a line.
std::string Describe(const StoredSettings& settings);

}  // namespace KuvTest
