#include "KuvAuth/Logging/SystemEvents.h"

#include <windows.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace {

struct EventSourceTraits {
  using Value = HANDLE;
  static Value None() noexcept { return nullptr; }
  static void Close(Value source) noexcept { ::DeregisterEventSource(source); }
};
using UniqueEventSource = Kuv::UniqueResource<EventSourceTraits>;

constexpr DWORD kEventIdentifier = 0xC0020000;

BOOL Report(HANDLE source, WORD type, const char* text) {
  return ::ReportEventA(source, type, /*wCategory=*/0, kEventIdentifier, /*lpUserSid=*/nullptr,
                        /*wNumStrings=*/1, /*dwDataSize=*/0, &text, /*lpRawData=*/nullptr);
}

BOOL Report(HANDLE source, WORD type, const wchar_t* text) {
  return ::ReportEventW(source, type, /*wCategory=*/0, kEventIdentifier, /*lpUserSid=*/nullptr,
                        /*wNumStrings=*/1, /*dwDataSize=*/0, &text, /*lpRawData=*/nullptr);
}

template <typename Unit>
std::int32_t ReportToSource(std::uint16_t type, const Unit* text) {
  const UniqueEventSource source{::RegisterEventSourceW(/*lpUNCServerName=*/nullptr, L"Kuvant")};
  return source ? Report(source.Get(), type, text) : 0;
}

}  // namespace

std::int32_t RecordSystemEvent(std::uint16_t type, const std::string& text) {
  KUV_LOG(LogLevel::Info, "Recording system event: %s", text.c_str());
  return ReportToSource(type, text.c_str());
}

std::int32_t RecordSystemEvent(std::uint16_t type, const std::wstring& text) {
  KUV_LOG(LogLevel::Info, L"Recording system event: %s", text.c_str());
  return ReportToSource(type, text.c_str());
}
