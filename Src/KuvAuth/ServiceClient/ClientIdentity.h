#pragma once

#include <cstdint>
#include <string>

/// @file
/// The texts that identify a client to the service. Option fields start with "; ", so that they can follow
/// the description of the operating system. All functions are thread-safe as long as no thread changes the
/// configuration.
namespace Kuv::Util {

/// Returns the product name and version, "KuvCredProv/4.3.1700.1150".
std::string BuildProductToken();

/// Returns a description of the operating system: "Windows NT major.minor.release.build.revision" if
/// `GetWindows10ReleaseInfo` returns release and revision, else "Windows NT major.minor.build"; then the
/// processor ("; x64", "; IA64", "; WOW64", "; x86" or nothing) and the product type ("; Workstation",
/// "; DC", "; Server" or nothing). Never fails: numbers that are unavailable are 0, other parts are omitted.
std::string BuildOsDescription();

/// Reads the release number (`ReleaseId`, as `strtoul` reads it with base 0) and the update build revision
/// (`UBR`) of Windows 10 and later. Returns false and does not change either number on an older version or if
/// either value is absent or has another type. Logs nothing.
bool GetWindows10ReleaseInfo(std::uint32_t& releaseNumber, std::uint32_t& updateBuildRevision);

/// Returns "; failmode: Open" or "; failmode: Closed" by the field `FailOpen` of the configuration. Does not
/// load the configuration.
std::string BuildFailModeField();

/// Returns "; UsernameFormat: " and "SAM", "NTLM" or "UPN" by the setting `UsernameFormatForService`, read
/// from the registry at each call. An absent or unknown number is treated as NTLM.
std::string BuildUsernameFormatField();

/// Returns the fail mode field followed by the username format field, for example
/// "; failmode: Closed; UsernameFormat: NTLM".
std::string BuildClientOptionFields();

}  // namespace Kuv::Util
