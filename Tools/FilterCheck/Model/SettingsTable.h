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

/// What a number above its range counts as. One below it counts as the default, unless it is taken as stored.
enum class Beyond : std::uint8_t { AsStored, Most, Default };

/// When a changed value takes effect. Only what takes effect with the next process is kept in the record of
/// the library; all else is read anew, and then a number must have 4 bytes.
enum class Effect : std::uint8_t { AtOnce, NextClassObject, NextProcess, NextLogStart };

/// What the library takes of a text and of a list, in bytes.
inline constexpr std::uint32_t kMostTextBytes = 1024;
inline constexpr std::uint32_t kMostListBytes = 760;
/// How many identifiers of 38 characters fit such a list.
inline constexpr std::uint32_t kMostProviders = 9;

/// One setting: the one place that says what it is. The check, the reference page and the policy template are
/// held to this table, and the table to the library.
struct SettingInfo {
  std::string_view name;
  SettingKind kind;
  std::uint32_t least;  ///< of a number or choice
  std::uint32_t most;   ///< of a number or choice
  Beyond beyond;
  std::string_view byDefault;  ///< as it is shown
  Effect effect;
  /// Gives the value that counts, as it is shown, from the library; of `SKey` only whether it is set. What
  /// the library keeps in its record must have been loaded.
  std::string (*effective)();
  std::string_view meaning;  ///< one sentence for an administrator
  std::string_view limits;   ///< what happens outside type, range or size
};

/// All settings, in the order of the reference page.
std::span<const SettingInfo> AllSettings() noexcept;

/// Gives the setting of a name, compared without case as the registry does; null if there is none.
const SettingInfo* FindSetting(std::string_view name) noexcept;

/// Whether a setting is stored as a `REG_DWORD`.
bool IsNumeric(const SettingInfo& setting) noexcept;

/// Whether a text must be set for the second factor to be in force.
bool IsRequired(const SettingInfo& setting) noexcept;

}  // namespace FilterCheck
