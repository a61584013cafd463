#pragma once

#include <cstdint>
#include <string>

/// @file
/// Events in the Windows event log and log lines for failed socket calls. Implemented in SystemEvents.cpp and
/// SocketFailure.cpp; the latter needs the socket library.

/// Logs the text at `Info` and writes an event of the source "Kuvant" with the identifier 0xC0020000 to the
/// Windows event log. `type` is the event type of `ReportEvent`, and `text` is the only insertion string.
/// Returns the result of `ReportEvent`, non-zero on success.
std::int32_t RecordSystemEvent(std::uint16_t type, const std::string& text);
/// @overload
std::int32_t RecordSystemEvent(std::uint16_t type, const std::wstring& text);

/// Logs at `Error` that a socket call failed, with its name and the code of `WSAGetLastError`.
void LogSocketFailure(const char* operation);
