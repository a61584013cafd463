#pragma once

#include <cstdint>
#include <string>

/// @file
/// Events for the platform's event log, and failed socket calls.

/// Reports an event of the source "Kuvant", with the identifier 0xC0020000, to the platform's event
/// log, and logs it at `Info` first. `type` is the event type of `ReportEvent`, passed on as it is, and
/// `text` the event's one insertion string. Returns what the platform does: non-zero on success.
std::int32_t RecordSystemEvent(std::uint16_t type, const std::string& text);
/// @overload
std::int32_t RecordSystemEvent(std::uint16_t type, const std::wstring& text);

/// Logs at `Error` that the named socket call failed, with the code of `WSAGetLastError`.
void LogSocketFailure(const char* operation);
