#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace FilterCheck {

/// How the library reads a setting.
enum class SettingKind : std::uint8_t {
  Text,       ///< `REG_SZ`, not empty, at most 1,024 bytes with its terminator
  Flag,       ///< `REG_DWORD`: any number but 0 is on
  ExactFlag,  ///< `REG_DWORD`: only 1 is on
  Number,     ///< `REG_DWORD` within a range
  Choice,     ///< `REG_DWORD`, one of a few numbers
  Providers,  ///< `REG_MULTI_SZ` of class identifiers, at most 760 bytes
};

/// How a number above its range is treated: used as stored, as the maximum or as the default. A number below
/// its range is treated as the default, unless it is used as stored.
enum class Beyond : std::uint8_t { AsStored, Most, Default };

/// When a changed value takes effect. Settings that take effect in the next process are in the configuration
/// record of the library. All others are read at each use; their numbers must have 4 bytes.
enum class Effect : std::uint8_t { AtOnce, NextClassObject, NextProcess, NextLogStart };

/// The largest text and the largest list that the library accepts, in bytes.
inline constexpr std::uint32_t kMostTextBytes = 1024;
inline constexpr std::uint32_t kMostListBytes = 760;
/// The number of identifiers of 38 characters that fit into the largest list.
inline constexpr std::uint32_t kMostProviders = 9;

/// One setting. Tests compare the check, the reference page and the policy template with this table, and the
/// table with the library.
struct SettingInfo {
  std::string_view name;
  SettingKind kind;
  std::uint32_t least;  ///< of a number or choice
  std::uint32_t most;   ///< of a number or choice
  Beyond beyond;
  std::string_view byDefault;  ///< for display
  Effect effect;
  /// Returns the effective value from the library, for display; for `SKey` only whether it is set. The
  /// configuration record must be loaded.
  std::string (*effective)();
  std::string_view meaning;  ///< one sentence for an administrator
  std::string_view limits;   ///< how other types, ranges and sizes are treated
};

/// Returns all settings, in the order of the reference page.
std::span<const SettingInfo> AllSettings() noexcept;

/// Returns the setting with this name, compared case-insensitively, or null if there is none.
const SettingInfo* FindSetting(std::string_view name) noexcept;

/// Returns whether the setting is stored as a `REG_DWORD`.
bool IsNumeric(const SettingInfo& setting) noexcept;

/// Returns whether the setting is a text without which the second factor is not required.
bool IsRequired(const SettingInfo& setting) noexcept;

}  // namespace FilterCheck
