#pragma once

// Takes the place of the header of ATL, which needs <windows.h> before it.

namespace ATL {

class CAtlException {
 public:
  CAtlException() noexcept : m_hr(E_FAIL) {}
  CAtlException(HRESULT result) noexcept : m_hr(result) {}
  operator HRESULT() const noexcept { return m_hr; }

  HRESULT m_hr;
};

}  // namespace ATL
