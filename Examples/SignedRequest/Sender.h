#pragma once

#include <cstdint>
#include <string>

#include <KuvAuth/Signing/Request.h>

namespace SignedRequest {

/// The address to which a request is sent.
struct Address {
  std::wstring name;
  std::uint16_t port = 0;
  bool secure = false;
};

/// The response of the service.
struct Answer {
  unsigned status = 0;
  std::string reason;  ///< the text of the status
  std::string body;    ///< the first 64 KB at most
};

/// Parses "http://NAME[:PORT]" or "https://NAME[:PORT]". Throws `ExampleError`.
Address ParseAddress(const std::wstring& text);

/// Sends the message to this address, which can differ from its host. Uses WinHTTP without a proxy,
/// redirection or any authentication except that of the message. Throws `ExampleError` if there is no
/// response.
Answer SendMessageTo(const Kuv::Signing::SignedRequest& message, const Address& address);

}  // namespace SignedRequest
