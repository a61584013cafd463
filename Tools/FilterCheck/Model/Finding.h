#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace FilterCheck {

/// How much a finding matters.
enum class Severity : std::uint8_t {
  Note,     ///< worth knowing, as it should be
  Warning,  ///< something does not take effect as one might think, or is open to others
  Problem,  ///< the second factor is off, or somebody is kept out
};

/// One thing that an administrator should know, in UTF-8.
struct Finding {
  std::string id;  ///< stable name for scripts, "setting.wrong-type" for example
  Severity severity;
  std::string subject;  ///< the setting, key, provider or file
  std::string text;     ///< what is so, and what follows from it
  std::string advice;   ///< what to do; empty for a note that asks for nothing
};
using Findings = std::vector<Finding>;

}  // namespace FilterCheck
