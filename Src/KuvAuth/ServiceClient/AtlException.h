#pragma once

/// @file
/// The exception class of ATL or, if the library was built without ATL, a class of the same name with the
/// members that callers use.
#include "KuvAuth/ServiceClient/AtlChoice.h"

#if KUV_WITH_ATL
// Without <winsock2.h>, <windows.h> includes its predecessor, and neither compiles after the other.
#include <winsock2.h>
#include <windows.h>
#include <atlexcept.h>
// Also if the including source switches off the automatic use of the namespace of ATL.
using ATL::CAtlException;
#else
/// An exception that carries an `HRESULT`, declared as `long` so that no platform header is needed.
class CAtlException {
 public:
  /// Creates the exception.
  explicit CAtlException(long result) noexcept : m_hr(result) {}
  /// Returns the `HRESULT`.
  operator long() const noexcept { return m_hr; }

  long m_hr;  ///< the `HRESULT`
};
#endif
