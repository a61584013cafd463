#include "KuvAuth/Support/SystemError.h"

#include <windows.h>

#include "KuvAuth/Support/UniqueResource.h"

std::wstring FormatSystemError(std::uint32_t code) {
  Kuv::UniqueLocalMemory<wchar_t> buffer;
  // With FORMAT_MESSAGE_ALLOCATE_BUFFER the buffer argument is the address of a pointer.
  ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
      /*lpSource=*/nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
      reinterpret_cast<wchar_t*>(buffer.Put()), /*nSize=*/0, /*Arguments=*/nullptr);
  if (!buffer) return {};
  std::wstring text = buffer.Get();
  const std::size_t last = text.find_last_not_of(L" \n\r\t");
  text.erase(last == std::wstring::npos ? 0 : last + 1);
  return text;
}
