#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace FilterCheck {

/// How much a finding matters.
enum class Severity : std::uint8_t {
  Note,     ///< for information
  Warning,  ///< something does not take effect as expected, or others can read or change it
  Problem,  ///< the second factor is off, or someone is locked out
};

/// One thing that an administrator should know, in UTF-8.
struct Finding {
  std::string id;  ///< stable name for scripts, "setting.wrong-type" for example
  Severity severity;
  std::string subject;  ///< the setting, key, provider or file
  std::string text;     ///< what was found, and what it causes
  std::string advice;   ///< what to do; empty if nothing needs to be done
};
using Findings = std::vector<Finding>;

}  // namespace FilterCheck
