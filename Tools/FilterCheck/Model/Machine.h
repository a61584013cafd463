#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FilterCheck/Model/SignIn.h"

/// @file
/// Facts about the machine and what the filter did on it. Texts are UTF-8 without control characters.

namespace FilterCheck {

/// The outcome of the filter's decision on a scenario.
enum class Outcome : std::uint8_t {
  Protected,    ///< only the allowed providers are enabled
  Unprotected,  ///< the Kuv providers are disabled, all others are enabled
  Untouched,    ///< the filter changes no flag
};

/// Returns the name of an outcome in reports: "protected", "unprotected" or "untouched".
constexpr std::string_view NameOf(Outcome outcome) noexcept {
  constexpr std::array<std::string_view, 3> kNames{"protected", "unprotected", "untouched"};
  return kNames[static_cast<std::size_t>(outcome)];
}

/// Versions and state of the machine.
struct Host {
  std::string name;            ///< name of the machine
  std::string toolVersion;     ///< version of this program: "4.3.1700.1150"
  std::string filterVersion;   ///< version of the registered 64-bit module; empty if unavailable
  std::string windowsVersion;  ///< version, build and revision of Windows: "10.0.19045.3086"
  std::string architecture;    ///< native architecture of Windows: "x64", "ARM64", "x86" or a number in hex
  bool elevated;               ///< this program runs with administrative rights
  std::string safeMode;        ///< "off", "on" or "on, with network"
};

/// The last decision on a kind of sign-in that the log shows.
struct LoggedDecision {
  std::string time;  ///< local time of the log: "2026-11-22 09:30:00"
  Outcome outcome;
};

/// An error that the filter logged.
struct LoggedError {
  std::string time;
  std::string text;
};

/// What the end of the filter's log shows.
struct Evidence {
  std::string log;             ///< path of the log
  bool exists = false;         ///< the log exists
  std::string unreadable;      ///< why the log cannot be read; empty if it was read or does not exist
  std::string lastRun;         ///< local time of the last decision; empty if the log shows none
  bool lastRunFailed = false;  ///< the last decision ended with an exception
  /// The last decision was made after the last start of Windows; no value if the log shows no decision.
  std::optional<bool> ranSinceStart;
  std::string startOfWindows;                                            ///< local time
  std::array<std::optional<LoggedDecision>, kSignIns.size()> decisions;  ///< for each kind of sign-in
  std::vector<LoggedError> errors;         ///< the last ones, at most 3, oldest first
  bool lastRunFoundNoKuvProvider = false;  ///< the last decision changed nothing, whatever its kind
};

}  // namespace FilterCheck
