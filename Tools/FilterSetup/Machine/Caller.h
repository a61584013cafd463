#pragma once

#include <windows.h>

#include <string>

/// @file
/// The user and the privileges of this process.

namespace FilterSetup {

/// Returns whether this process has administrative rights (`TokenElevation`); false if that is unknown.
bool IsElevated();

/// Enables the privileges to read, move and own every file and key, for the rest of the process. Ignores a
/// privilege that the user does not have: the access lists may permit the same.
void EnablePrivileges();

/// Returns the name of the user of this process: "DOMAIN\name" or, without a name, the identifier
/// "S-1-5-18". Returns "unknown user" if neither is available.
std::wstring CallerName();

/// Returns whether the account is the user of this process.
bool IsCaller(PSID account);

}  // namespace FilterSetup
