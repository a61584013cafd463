#pragma once

#include <cstdint>
#include <string>

/// @file
/// The texts with which a client describes itself to the service. The option fields start with "; ", so
/// that they can follow the description of the operating system. Any thread may call.
namespace Kuv::Util {

/// Gives product name and version, "KuvCredProv/4.3.1700.1150".
std::string BuildProductToken();

/// Describes the operating system: "Windows NT major.minor.release.build.revision" if
/// `GetWindows10ReleaseInfo` knows release and revision, else "Windows NT major.minor.build"; then the
/// processor ("; x64", "; IA64", "; WOW64", "; x86" or nothing) and the kind of system
/// ("; Workstation", "; DC", "; Server" or nothing). Never fails; what the platform does not tell reads
/// as 0 or is left out.
std::string BuildOsDescription();

/// Reads the release number (`ReleaseId`, as strtoul reads it with base 0) and the update build revision
/// (`UBR`) of Windows 10 and later. Returns false, with both numbers untouched, on an older system or if
/// either value is absent or of another type. Nothing is logged.
bool GetWindows10ReleaseInfo(std::uint32_t& releaseNumber, std::uint32_t& updateBuildRevision);

/// Gives "; failmode: Open" or "; failmode: Closed", by the flag `FailOpen` of the configuration as it
/// stands.
std::string BuildFailModeField();

/// Gives "; UsernameFormat: " with "SAM", "NTLM" or "UPN", by the setting `UsernameFormatForService`, read
/// from the registry at each call. An absent or unknown number counts as NTLM.
std::string BuildUsernameFormatField();

/// Gives the fail mode field and the username format field, one after the other, for example
/// "; failmode: Closed; UsernameFormat: NTLM".
std::string BuildClientOptionFields();

}  // namespace Kuv::Util
