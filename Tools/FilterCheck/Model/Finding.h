#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace FilterCheck {

/// The severity of a finding.
enum class Severity : std::uint8_t {
  Note,     ///< for information
  Warning,  ///< something does not take effect as expected, or others can read or change it
  Problem,  ///< the second factor is not required, or someone cannot sign in
};

/// A finding for an administrator. Its texts are UTF-8.
struct Finding {
  std::string id;  ///< stable name for scripts, for example "setting.wrong-type"
  Severity severity;
  std::string subject;  ///< the setting, key, provider or file
  std::string text;     ///< what was found, and its effect
  std::string advice;   ///< what to do; empty if nothing needs to be done
};
using Findings = std::vector<Finding>;

}  // namespace FilterCheck
