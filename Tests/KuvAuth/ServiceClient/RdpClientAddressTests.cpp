#include <cstring>
#include <map>

#include "AddressFixture.h"
#include "KuvAuth/ServiceClient/ClientAddress.h"

// winsta.dll is replaced: its entry points need a terminal server, and end the process under Wine.
namespace {

using Kuv::Util::GetRdpClientIpAddress;
using KuvTest::LogLines;
using Events = std::vector<std::string>;

const HMODULE kLibrary = reinterpret_cast<HMODULE>(std::uintptr_t{0x11000});
const HANDLE kServer = reinterpret_cast<HANDLE>(std::uintptr_t{0x5E});

struct WinStation {
  Events events;
  HANDLE server = kServer;
  ULONG_PTR queryAnswer = 1;
  std::string record = std::string(32, '\0');  // what a successful query fills in
};

WinStation* g_winStation = nullptr;

HANDLE WINAPI OpenServer(const wchar_t* name) {
  EXPECT_EQ(name, nullptr);
  g_winStation->events.push_back("open");
  return g_winStation->server;
}

// Returns a whole register, of which only the low byte is the platform's result.
ULONG_PTR WINAPI QueryInformation(HANDLE server, ULONG session, ULONG informationClass, void* information,
                                  ULONG size, ULONG* returned) {
  EXPECT_EQ(server, kServer);
  EXPECT_EQ(session, 0xFFFFFFFFu);
  EXPECT_EQ(informationClass, 29u);
  EXPECT_EQ(size, 32u);
  EXPECT_EQ(*returned, 0u);
  EXPECT_EQ(std::string(static_cast<const char*>(information), 32), std::string(32, '\0'));
  g_winStation->events.push_back("query");
  g_winStation->record.copy(static_cast<char*>(information), 32);
  ::SetLastError(7022);
  return g_winStation->queryAnswer;
}

// Fails and sets the last error: both must be ignored.
BOOLEAN WINAPI CloseServer(HANDLE server) {
  EXPECT_EQ(server, kServer);
  g_winStation->events.push_back("close");
  ::SetLastError(99);
  return FALSE;
}

template <typename Function>
FARPROC Address(Function* function) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

class RdpClientAddress : public KuvTest::AddressFixture {
 protected:
  RdpClientAddress() {
    g_winStation = &winStation;
    load.Answer([this](const wchar_t* name) {
      EXPECT_STREQ(name, L"winsta.dll");
      winStation.events.push_back("load");
      return library;
    });
    find.Answer([this](HMODULE module, const char* name) {
      if (module != kLibrary) return find.Original(module, name);
      looked.push_back(name);
      return entryPoints.contains(name) ? entryPoints[name] : nullptr;
    });
    unload.Answer([this](HMODULE module) {
      if (module != kLibrary) return unload.Original(module);
      winStation.events.push_back("free");
      ::SetLastError(98);
      return TRUE;
    });
  }
  ~RdpClientAddress() override { g_winStation = nullptr; }

  // Stores an address of a family at an offset of the record.
  void Answer(std::uint16_t family, std::size_t offset, const std::string& address) {
    winStation.record.assign(32, '\xEE');
    std::memcpy(winStation.record.data(), &family, sizeof(family));
    winStation.record.replace(offset, address.size(), address);
  }

  // Expects this text, these calls and at most one line in the log.
  void ExpectAddress(const std::string& text, const Events& events, const std::string& error = "") {
    log.Clear();
    looked.clear();
    winStation.events.clear();
    EXPECT_EQ(GetRdpClientIpAddress(), text);
    EXPECT_EQ(winStation.events, events);
    EXPECT_EQ(log.Lines(), error.empty() ? LogLines{} : (LogLines{{LogLevel::Error, error}}));
  }

  const Events kWholeCall{"load", "open", "query", "close", "free"};
  WinStation winStation;
  HMODULE library = kLibrary;
  std::vector<std::string> looked;
  std::map<std::string, FARPROC> entryPoints{{"WinStationOpenServerW", Address(OpenServer)},
                                             {"WinStationQueryInformationW", Address(QueryInformation)},
                                             {"WinStationCloseServer", Address(CloseServer)}};
  KuvTest::ImportHook<decltype(&::LoadLibraryW)> load{"LoadLibraryW"};
  KuvTest::ImportHook<decltype(&::GetProcAddress)> find{"GetProcAddress"};
  KuvTest::ImportHook<decltype(&::FreeLibrary)> unload{"FreeLibrary"};
};

TEST_F(RdpClientAddress, FormatsTheAddressOfThePeer) {
  Answer(2, 8, std::string("\xC0\x00\x02\x07", 4));
  ExpectAddress("192.0.2.7", kWholeCall);
  Answer(23, 12, std::string("\x20\x01\x0D\xB8\0\0\0\0\0\0\0\0\0\0\0\x09", 16));
  ExpectAddress("2001:db8::9", kWholeCall);
}

TEST_F(RdpClientAddress, CachesNothingBetweenCalls) {
  Answer(2, 8, "\1\1\1\1");
  EXPECT_EQ(GetRdpClientIpAddress(), "1.1.1.1");
  Answer(2, 8, "\2\2\2\2");
  EXPECT_EQ(GetRdpClientIpAddress(), "2.2.2.2");
  EXPECT_EQ(winStation.events.size(), 2 * kWholeCall.size());
  EXPECT_EQ(looked.size(), 6u);
}

TEST_F(RdpClientAddress, MissingLibraryIsLogged) {
  library = nullptr;
  ExpectAddress("", {"load"}, "Kuv::Util::GetRdpClientIpAddress unable to load winsta.dll");
  EXPECT_EQ(looked, Events{});
}

TEST_F(RdpClientAddress, MissingEntryPointIsLoggedAfterAllAreLookedUp) {
  const auto complete = entryPoints;
  for (const auto& entry : complete) {
    SCOPED_TRACE(entry.first);
    entryPoints = complete;
    entryPoints.erase(entry.first);
    ExpectAddress("", {"load", "free"},
                  "Kuv::Util::GetRdpClientIpAddress unable to locate expected functions in winsta.dll");
    EXPECT_EQ(looked,
              (Events{"WinStationOpenServerW", "WinStationQueryInformationW", "WinStationCloseServer"}));
  }
}

TEST_F(RdpClientAddress, MissingServerReturnsNothingWithoutALine) {
  winStation.server = nullptr;
  ExpectAddress("", {"load", "open", "free"});
}

TEST_F(RdpClientAddress, FailedQueryIsLogged) {
  Answer(2, 8, "\1\1\1\1");
  winStation.queryAnswer = 0;
  ExpectAddress(
      "", kWholeCall,
      "System call 'Kuv::Util::GetRdpClientIpAddress WinStationQueryInformationW' failed. {error: 7022}");
}

TEST_F(RdpClientAddress, UsesOnlyTheLowByteOfTheQueryResult) {
  Answer(2, 8, "\1\1\1\1");
  winStation.queryAnswer = 0xFFFFFF00;
  EXPECT_EQ(GetRdpClientIpAddress(), "");
  winStation.queryAnswer = 0xFFFFFF80;
  EXPECT_EQ(GetRdpClientIpAddress(), "1.1.1.1");
}

TEST_F(RdpClientAddress, UnexpectedFamilyIsLogged) {
  for (const std::uint16_t family : std::initializer_list<std::uint16_t>{0, 1, 10, 0x0217, 0xFFFF}) {
    SCOPED_TRACE(family);
    Answer(family, 8, "\1\1\1\1");
    ExpectAddress("", kWholeCall,
                  "IP address returned by WinStationQueryInformationW() is of an unexpected family: " +
                      std::to_string(family));
  }
}

TEST_F(RdpClientAddress, UnchangedRecordHasAnUnexpectedFamilyWithOrWithoutALine) {
  EXPECT_EQ(GetRdpClientIpAddress(), "");
  const LogLines expected{
      {LogLevel::Error,
       "IP address returned by WinStationQueryInformationW() is of an unexpected family: 0"}};
  EXPECT_EQ(log.Lines(), expected);
  log.System().minLevel = LogLevel::Critical;
  EXPECT_EQ(GetRdpClientIpAddress(), "");
  EXPECT_EQ(log.Lines(), expected);
}

TEST_F(RdpClientAddress, IsTheClientAddressOfARemoteSession) {
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  metrics.Answer([](int) { return 1; });
  Answer(2, 8, std::string("\xC0\x00\x02\x07", 4));
  for (const bool fallback : {false, true}) {
    log.Clear();
    winStation.events.clear();
    EXPECT_EQ(Kuv::Util::GetClientIpAddress(fallback), "192.0.2.7");
    EXPECT_EQ(winStation.events, kWholeCall);
    EXPECT_EQ(log.Lines(),
              (LogLines{{LogLevel::Trace, "IP address is being queried in a remote session context"}}));
  }
}

TEST_F(RdpClientAddress, ReleasesServerAndLibraryIfTheAddressHasNoText) {
  KUV_IMPORT_HOOK(name, getnameinfo);
  name.Answer([](auto&&...) { return 11001; });
  KUV_IMPORT_HOOK(lastError, WSAGetLastError);
  lastError.Answer([] { return 10093; });
  Answer(2, 8, "\1\1\1\1");
  ExpectAddress("", kWholeCall, "Failure in socket operation 'getnameinfo' (10093)");
}

TEST_F(RdpClientAddress, ZeroAddressIsLoggedAndReturned) {
  Answer(2, 8, std::string(4, '\0'));
  ExpectAddress("0.0.0.0", kWholeCall, "AddrToString was passed an invalid address");
}

}  // namespace
