#pragma once

#include <windows.h>

#include <string>

namespace FilterCheck {

/// Returns the native architecture of Windows as a machine type of the PE format, for example
/// `IMAGE_FILE_MACHINE_ARM64`, also to a program that runs emulated (`IsWow64Process2`).
WORD NativeMachine() noexcept;

/// Returns the name of a machine type: "x64", "ARM64", "x86", or the number in hexadecimal.
std::string ArchitectureName(WORD machine);

}  // namespace FilterCheck
