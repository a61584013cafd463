#include "Common/SubkeyName.h"

#include <iterator>

namespace Tools {

std::wstring SubkeyName(HKEY key, DWORD index) {
  wchar_t name[256] = {};
  auto length = static_cast<DWORD>(std::size(name));
  const LSTATUS status =
      ::RegEnumKeyExW(key, index, name, &length, /*lpReserved=*/nullptr, /*lpClass=*/nullptr,
                      /*lpcchClass=*/nullptr, /*lpftLastWriteTime=*/nullptr);
  return status == ERROR_SUCCESS ? std::wstring{name} : std::wstring{};
}

}  // namespace Tools
