#include "Common/LogPath.h"

#include <windows.h>
#include <shlobj.h>

#include "Common/ErrorText.h"
#include "Common/ToolError.h"

namespace Tools {

std::wstring FilterLogPath() {
  wchar_t folder[MAX_PATH] = {};
  const HRESULT result = ::SHGetFolderPathW(/*hwnd=*/nullptr, CSIDL_COMMON_APPDATA, /*hToken=*/nullptr,
                                            SHGFP_TYPE_CURRENT, folder);
  if (FAILED(result)) {
    throw ToolError{"cannot find the log folder: " + DescribeError(static_cast<std::uint32_t>(result))};
  }
  return std::wstring{folder} + L"\\Kuvant\\kuv.log";
}

}  // namespace Tools
