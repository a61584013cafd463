#pragma once

/// @file
/// ATL's exception where ATL exists; elsewhere the same name with what callers use of it.
#if __has_include(<atlexcept.h>)
#include <windows.h>
#include <atlexcept.h>
#else
/// An error that is an HRESULT. The type is spelled `long`, which is what HRESULT is, so that no platform
/// header is needed.
class CAtlException {
 public:
  /// Carries this HRESULT.
  explicit CAtlException(long result) noexcept : m_hr(result) {}
  /// Gives the HRESULT.
  operator long() const noexcept { return m_hr; }

  long m_hr;  ///< the HRESULT
};
#endif
