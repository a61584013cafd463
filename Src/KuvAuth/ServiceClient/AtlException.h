#pragma once

/// @file
/// The exception class of ATL or, if ATL is not installed, a class of the same name with the members that
/// callers use.
#if __has_include(<atlexcept.h>)
#include <windows.h>
#include <atlexcept.h>
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
