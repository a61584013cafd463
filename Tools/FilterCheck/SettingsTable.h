#pragma once

#include <cstdint>
#include <span>
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

/// When a changed value takes effect.
enum class Effect : std::uint8_t { AtOnce, NextClassObject, NextProcess, NextLogStart };

/// One setting: the one place that says what it is. The check, the reference page and the policy template are
/// held to this table, and the table to the library.
struct SettingInfo {
  std::string_view name;
  SettingKind kind;
  std::uint32_t least;         ///< of a number or choice
  std::uint32_t most;          ///< of a number or choice
  std::string_view byDefault;  ///< as it is shown
  Effect effect;
  std::string_view meaning;  ///< one sentence for an administrator
  std::string_view limits;   ///< what happens outside type, range or size
};

/// All settings, in the order of the reference page.
std::span<const SettingInfo> AllSettings() noexcept;

/// Gives the setting of a name, compared without case as the registry does; null if there is none.
const SettingInfo* FindSetting(std::string_view name) noexcept;

}  // namespace FilterCheck
