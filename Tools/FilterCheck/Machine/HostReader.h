#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Reads the versions and the state of the machine, and takes the version of the filter from its
/// registration. A text that is unavailable is empty, and an unavailable name is "this machine".
Host ReadHost(const Registration& registration);

/// Returns the security identifier, as text, of the user that runs this program with administrative rights;
/// an empty text without such rights.
std::wstring ElevatedUser();

/// Returns the version of this program: "4.3.1700.1150".
std::string ToolVersion();

}  // namespace FilterCheck
