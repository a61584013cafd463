#include <windows.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/ClientAddress.h"
#include "KuvAuth/ServiceClient/SystemCallFailure.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace Kuv::Util {

namespace {

// The results are declared as BOOLEAN, because only the low byte of the register is valid.
using WinStationOpenServer = HANDLE(WINAPI*)(const wchar_t* serverName);
using WinStationQueryInformation = BOOLEAN(WINAPI*)(HANDLE server, ULONG session, ULONG informationClass,
                                                    void* information, ULONG size, ULONG* returnedSize);
using WinStationCloseServer = BOOLEAN(WINAPI*)(HANDLE server);

constexpr ULONG kCurrentSession = 0xFFFFFFFF;
constexpr ULONG kRemoteAddressClass = 29;
constexpr std::uint16_t kIpv4Family = 2;
constexpr std::uint16_t kIpv6Family = 23;

// The entry points of winsta.dll, valid while the library is loaded.
struct WinStationApi {
  explicit WinStationApi(HMODULE library)
      : open(Find<WinStationOpenServer>(library, "WinStationOpenServerW")),
        query(Find<WinStationQueryInformation>(library, "WinStationQueryInformationW")),
        close(Find<WinStationCloseServer>(library, "WinStationCloseServer")) {}

  bool IsComplete() const noexcept { return open != nullptr && query != nullptr && close != nullptr; }

  WinStationOpenServer open;
  WinStationQueryInformation query;
  WinStationCloseServer close;

 private:
  template <typename Function>
  static Function Find(HMODULE library, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library, name)));
  }
};

class WinStationServer {
 public:
  explicit WinStationServer(const WinStationApi& api)
      : api_(api), server_(api.open(/*serverName=*/nullptr)) {}
  WinStationServer(const WinStationServer&) = delete;
  WinStationServer& operator=(const WinStationServer&) = delete;
  ~WinStationServer() {
    if (server_ != nullptr) static_cast<void>(api_.close(server_));
  }

  bool IsOpen() const noexcept { return server_ != nullptr; }

  bool QueryRemoteAddress(RemoteAddressRecord& record) const {
    ULONG returnedSize = 0;
    return api_.query(server_, kCurrentSession, kRemoteAddressClass, &record, sizeof(record),
                      &returnedSize) != 0;
  }

 private:
  const WinStationApi& api_;
  HANDLE server_;
};

std::string RecordToString(const RemoteAddressRecord& record) {
  switch (record.family) {
    case kIpv4Family:
      return AddrToString(kIpv4Family, record.ipv4Address);
    case kIpv6Family:
      return AddrToString(kIpv6Family, record.ipv6Address);
    default:
      KUV_LOG(LogLevel::Error,
              "IP address returned by WinStationQueryInformationW() is of an unexpected family: %d",
              record.family);
      return {};
  }
}

}  // namespace

std::string GetRdpClientIpAddress() {
  const UniqueLibrary library{::LoadLibraryW(L"winsta.dll")};
  if (!library) {
    KUV_LOG(LogLevel::Error, "Kuv::Util::GetRdpClientIpAddress unable to load winsta.dll");
    return {};
  }
  const WinStationApi api{library.Get()};
  if (!api.IsComplete()) {
    KUV_LOG(LogLevel::Error,
            "Kuv::Util::GetRdpClientIpAddress unable to locate expected functions in winsta.dll");
    return {};
  }
  const WinStationServer server{api};
  if (!server.IsOpen()) return {};
  RemoteAddressRecord record{};
  if (!server.QueryRemoteAddress(record)) {
    const DWORD code = ::GetLastError();
    LogSystemCallFailure("Kuv::Util::GetRdpClientIpAddress WinStationQueryInformationW", code);
    return {};
  }
  return RecordToString(record);
}

}  // namespace Kuv::Util
