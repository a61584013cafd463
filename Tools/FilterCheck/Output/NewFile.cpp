#include "FilterCheck/Output/NewFile.h"

#include <windows.h>

#include "Common/ErrorText.h"
#include "Common/PlainText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterCheck {

namespace {

[[noreturn]] void ThrowNotWritable(const std::wstring& path, DWORD code) {
  throw Tools::ToolError{"cannot write '" + Tools::PlainText(path) + "': " + Tools::DescribeError(code)};
}

}  // namespace

void WriteNewFile(const std::wstring& path, std::string_view bytes) {
  Kuv::UniqueFile file{::CreateFileW(path.c_str(), GENERIC_WRITE, /*dwShareMode=*/0,
                                     /*lpSecurityAttributes=*/nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                                     /*hTemplateFile=*/nullptr)};
  if (!file) ThrowNotWritable(path, ::GetLastError());
  DWORD written = 0;
  const BOOL done = ::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                                /*lpOverlapped=*/nullptr);
  if (done != FALSE && written == bytes.size()) return;
  const DWORD code = done == FALSE ? ::GetLastError() : ERROR_DISK_FULL;
  file.Reset();
  ::DeleteFileW(path.c_str());
  ThrowNotWritable(path, code);
}

}  // namespace FilterCheck
