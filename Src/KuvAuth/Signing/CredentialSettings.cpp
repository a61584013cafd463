#include <windows.h>

#include <optional>
#include <string>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Registry/OpenedKey.h"
#include "KuvAuth/Signing/Credentials.h"
#include "KuvAuth/Signing/Wipe.h"
#include "KuvAuth/Support/SettingsKeys.h"

namespace Kuv::Signing {

namespace {

// A record whose key is wiped at the end of its scope, also if the load throws.
struct TemporaryRecord {
  TemporaryRecord() = default;
  TemporaryRecord(const TemporaryRecord&) = delete;
  TemporaryRecord& operator=(const TemporaryRecord&) = delete;
  ~TemporaryRecord() { WipeMemory(record.SKey.data(), record.SKey.size()); }

  Configuration record;
};

std::string ListMissing(const Configuration& record) {
  std::string names;
  const auto add = [&names](const std::string& value, const char* name) {
    if (value.empty()) names.append(names.empty() ? "" : ", ").append(name);
  };
  add(record.Host, "Host");
  add(record.IKey, "IKey");
  add(record.SKey, "SKey");
  return names;
}

// Settings are also missing if a key exists that the user may not read. Returns the failure to open it.
std::optional<Failure> CheckKey(IRegistry& registry, const char* path, const std::string& missing) {
  HKEY opened = nullptr;
  const LSTATUS status = registry.OpenKeyA(HKEY_LOCAL_MACHINE, path, /*options=*/0, KEY_QUERY_VALUE, &opened);
  if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND) return std::nullopt;
  if (status == ERROR_SUCCESS) {
    const Kuv::OpenedKey key{registry, opened};
    return std::nullopt;
  }
  return Failure{.reason = Reason::PlatformCallFailed,
                 .field = missing,
                 .call = "RegOpenKeyExA",
                 .code = static_cast<std::uint32_t>(status)};
}

Failure FailMissing(IRegistry& registry, std::string missing) {
  for (const char* const path : {LocalKeyPath, PolicyKeyPath}) {
    if (std::optional<Failure> failure = CheckKey(registry, path, missing)) return *std::move(failure);
  }
  return {.reason = Reason::MissingSetting, .field = std::move(missing)};
}

// Replaces the name of a field by that of its setting.
Failure NameSetting(Failure failure) {
  if (failure.field == "host" || failure.field == "port") failure.field = "Host";
  if (failure.field == "integrationKey") failure.field = "IKey";
  if (failure.field == "secretKey") failure.field = "SKey";
  return failure;
}

}  // namespace

Result<Credentials> Credentials::FromSettings() {
  Registry registry;
  return FromSettings(registry);
}

Result<Credentials> Credentials::FromSettings(IRegistry& registry) {
  TemporaryRecord temporary;
  Configuration& record = temporary.record;
  const bool complete = record.Load(registry);
  std::string missing = ListMissing(record);
  if (!missing.empty()) return FailMissing(registry, std::move(missing));
  if (!complete) return Failure{.reason = Reason::OutOfRange, .field = "Host"};
  Result<Credentials> credentials = FromValues({.host = record.Host,
                                                .port = record.Port,
                                                .integrationKey = record.IKey,
                                                .secretKey = Secret::Take(record.SKey)});
  if (!credentials) return NameSetting(credentials.GetFailure());
  return credentials;
}

}  // namespace Kuv::Signing
