#pragma once

#include <memory>

#include "KuvAuth/Signing/Credentials.h"
#include "KuvAuth/Signing/Request.h"
#include "KuvAuth/Signing/Result.h"

namespace Kuv::Signing {

/// Signs a request. The signed text is that of `Kuv::Util::BuildAuthorizationSignature`, or
/// `BuildJsonAuthorizationSignature` for a JSON body, with the date, the method, the host of the credentials,
/// the path, and the parameters or the body; the `Authorization` header is that of
/// `BuildHmacAuthorizationHeader`. Logs nothing. Thread-safe. Throws only `std::bad_alloc`.
///
/// Refuses what would let two requests have the same signed text, or end a line of the request early:
/// - an empty method, or one with anything but upper-case letters, digits and "!#$%&'*+-.^_`|~" (a token of
///   RFC 9110; clients and proxies may convert lower case);
/// - a path that does not start with "/", or contains anything but visible ASCII characters, or contains "?"
///   or "#": the service would treat the rest as parameters or ignore it;
/// - an empty date, or one with anything but visible ASCII characters and spaces, or with a space at an end,
///   which a recipient removes from a header: without a date, the text of a JSON body can equal that of
///   parameters;
/// - a parameter value with a NUL, where the text would end, or with an unpaired surrogate: the plain
///   functions would sign another value;
/// - a JSON body for a method without a body (`HasNoBody`);
/// - texts of more than `kMaximumSize` characters in total;
/// - credentials that were moved from, because their secret is empty.
///
/// Fails with `Reason::PlatformCallFailed` if the date, the digest or the HMAC cannot be computed.
[[nodiscard]] Result<SignedRequest> Sign(const Request& request, const Credentials& credentials);

/// Signs many requests with the same credentials. It keeps the cryptographic contexts of the platform open,
/// whose creation is nearly all of the time of a short signature; `Sign` opens them for each request. The
/// results are the same. One thread can use a signer at a time. It can be moved, but not copied.
class Signer {
 public:
  /// Takes over the credentials. The contexts are opened by the first signature that needs them.
  explicit Signer(Credentials credentials);
  /// Takes over the other signer, which then fails with `Reason::Empty` for the secret key.
  Signer(Signer&& other) noexcept;
  /// Does the same, after releasing what this signer holds.
  Signer& operator=(Signer&& other) noexcept;
  Signer(const Signer&) = delete;
  Signer& operator=(const Signer&) = delete;
  /// Wipes the secret and releases the contexts.
  ~Signer();

  /// Signs a request, as the free function does. A failure does not affect later signatures.
  [[nodiscard]] Result<SignedRequest> Sign(const Request& request);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace Kuv::Signing
