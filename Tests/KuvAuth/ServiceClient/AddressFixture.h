#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/Configuration.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"

namespace KuvTest {

/// Starts the socket layer, as a process that uses these operations does, and captures the log.
class AddressFixture : public ::testing::Test {
 protected:
  AddressFixture() {
    WSADATA data{};
    EXPECT_EQ(::WSAStartup(MAKEWORD(2, 2), &data), 0);
    *GetConfiguration() = Configuration{};
  }
  ~AddressFixture() override {
    *GetConfiguration() = Configuration{};
    ::WSACleanup();
  }

  LogCapture log;
};

/// Replaces the resolver: the host name is "the-host" and has the given addresses.
class ResolverScript {
 public:
  ResolverScript() {
    hostName.Answer([this](char* name, int size) {
      EXPECT_EQ(size, 1024);
      EXPECT_EQ(std::string(name, 1024), std::string(1024, '\0'));
      if (hostNameFails) return SOCKET_ERROR;
      host.copy(name, host.size());
      return hostNameResult;
    });
    getAddresses.Answer(
        [this](const char* name, const char* service, const addrinfo* hints, addrinfo** list) {
          EXPECT_EQ(name, host);
          EXPECT_EQ(service, nullptr);
          addrinfo expected{};
          expected.ai_family = 2;
          EXPECT_EQ(std::memcmp(hints, &expected, sizeof(expected)), 0);
          *list = nullptr;
          if (resolveResult == 0 && !addresses.empty()) *list = &Chain();
          return resolveResult;
        });
    freeAddresses.Answer([this](addrinfo* list) { EXPECT_EQ(list, &entries_.front()); });
    lastError.Answer([] { return 10093; });
  }

  std::string host = "the-host";
  std::vector<std::string> addresses;  ///< of 4 bytes each, in the resolver's order
  bool hostNameFails = false;
  int hostNameResult = 0;
  int resolveResult = 0;
  ImportHook<decltype(&::gethostname)> hostName{"gethostname"};
  ImportHook<decltype(&::getaddrinfo)> getAddresses{"getaddrinfo"};
  ImportHook<decltype(&::freeaddrinfo)> freeAddresses{"freeaddrinfo"};
  ImportHook<decltype(&::WSAGetLastError)> lastError{"WSAGetLastError"};

 private:
  addrinfo& Chain() {
    entries_.assign(addresses.size(), addrinfo{});
    sockets_.assign(addresses.size(), sockaddr_in{});
    for (std::size_t i = 0; i < addresses.size(); ++i) {
      sockets_[i].sin_family = AF_INET;
      addresses[i].copy(reinterpret_cast<char*>(&sockets_[i].sin_addr), 4);
      entries_[i].ai_family = AF_INET;
      entries_[i].ai_addrlen = sizeof(sockaddr_in);
      entries_[i].ai_addr = reinterpret_cast<sockaddr*>(&sockets_[i]);
      entries_[i].ai_next = i + 1 < addresses.size() ? &entries_[i + 1] : nullptr;
    }
    return entries_.front();
  }

  std::vector<addrinfo> entries_;
  std::vector<sockaddr_in> sockets_;
};

}  // namespace KuvTest
