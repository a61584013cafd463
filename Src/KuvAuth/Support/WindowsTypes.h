#pragma once

/// @file
/// The types of `<windows.h>` in this library's interface. They are declared exactly as in that header, so
/// that the public headers do not include it and compile before and after it.

#if defined(NO_STRICT)
#error "KuvAuth is built with STRICT. Do not define NO_STRICT."
#endif

using BYTE = unsigned char;    ///< an 8-bit number
using DWORD = unsigned long;   ///< an unsigned 32-bit number
using HKEY = struct HKEY__*;   ///< the handle of a registry key
using LSTATUS = long;          ///< the status of a registry function; 0 (`ERROR_SUCCESS`) is success
using REGSAM = unsigned long;  ///< the access rights to a registry key
