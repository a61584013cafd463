#include "KuvAuth/Support/GuidText.h"

#include <objbase.h>

#include <iterator>

namespace Kuv {

GuidText::GuidText(const GUID& guid) noexcept
    : length_(::StringFromGUID2(guid, text_, static_cast<int>(std::size(text_)))) {}

}  // namespace Kuv

std::wstring GuidToString(const GUID& guid) {
  return Kuv::GuidText{guid}.Get();
}
