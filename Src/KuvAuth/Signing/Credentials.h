#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "KuvAuth/Signing/Result.h"
#include "KuvAuth/Signing/Secret.h"

class IRegistry;

namespace Kuv::Signing {

/// The parts of credentials, for `Credentials::FromValues`. Name them:
/// `{.host = "auth.kuv.example", .integrationKey = "…", .secretKey = Secret{"…"}}`.
struct CredentialValues {
  std::string host{};            ///< name or address of the service, without the port
  std::uint16_t port = 443;      ///< port of the service
  std::string integrationKey{};  ///< client identifier, sent with each request
  Secret secretKey{};            ///< key of the signatures, never sent
};

/// Checked credentials of a client of the service. They can be moved, but not copied, because of the secret.
class Credentials {
 public:
  /// Reads the settings `Host`, `IKey` and `SKey` from the registry, as `Configuration::Load` does, but into
  /// a record that exists only during the call: the record of the process (`GetConfiguration`) is neither
  /// used nor changed, and no copy of `SKey` remains but the secret. Like any load, it applies the setting
  /// `Debug` to the log, logs `Host` and `IKey` at `Info`, and logs an incomplete record at `Error`.
  ///
  /// Fails with `Reason::MissingSetting` and the names of all settings that are absent or empty in
  /// `Failure::field`; instead with `Reason::PlatformCallFailed` for them if a settings key exists but cannot
  /// be opened, for example because only administrators may read it; with `Reason::OutOfRange` for `Host` if
  /// its port is 0 or not a number; and as `FromValues`, with the names of the settings.
  [[nodiscard]] static Result<Credentials> FromSettings();
  /// Does the same with the settings of the given registry. Throws what it throws, too.
  [[nodiscard]] static Result<Credentials> FromSettings(IRegistry& registry);

  /// Checks values and converts the host to lower case. Fails if
  /// - the host is empty or contains anything but ASCII letters, digits, ".", "-" and "_", except that an
  ///   IPv6 address in brackets can also contain ":": the host is a line of the signed text and of the
  ///   header;
  /// - the port is 0;
  /// - the integration key is empty or contains a colon, which ends the user of the `Authorization` header,
  ///   or a control character (RFC 7617, section 2);
  /// - the secret key is empty, which would let anyone sign;
  /// - a text has more than `kMaximumSize` characters.
  [[nodiscard]] static Result<Credentials> FromValues(CredentialValues values);

  /// Returns the host in lower case, without the port.
  [[nodiscard]] const std::string& Host() const noexcept { return values_.host; }
  /// Returns the port.
  [[nodiscard]] std::uint16_t Port() const noexcept { return values_.port; }
  /// Returns the client identifier.
  [[nodiscard]] const std::string& IntegrationKey() const noexcept { return values_.integrationKey; }
  /// Returns the secret key. It is empty only after the credentials were moved from.
  [[nodiscard]] const Secret& SecretKey() const noexcept { return values_.secretKey; }

 private:
  explicit Credentials(CredentialValues&& values) noexcept : values_(std::move(values)) {}

  CredentialValues values_;
};

}  // namespace Kuv::Signing
