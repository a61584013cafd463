#pragma once

#include <cstdint>
#include <string>

namespace SignedRequest {

struct SignedMessage;

/// Where a request is sent to.
struct Address {
  std::wstring name;
  std::uint16_t port = 0;
  bool secure = false;
};

/// What the service said.
struct Answer {
  unsigned status = 0;
  std::string reason;  ///< the text beside the status
  std::string body;    ///< at most 64 KB of it
};

/// Reads "http://NAME[:PORT]" or "https://NAME[:PORT]". Throws `ExampleError`.
Address ParseAddress(const std::wstring& text);

/// Sends the message with WinHTTP, whatever its host says, to this address: without a proxy, without
/// following redirections and without any authentication but the message's own. Throws `ExampleError` if
/// no answer comes.
Answer SendMessageTo(const SignedMessage& message, const Address& address);

}  // namespace SignedRequest
