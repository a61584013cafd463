#include <string>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Signing/Credentials.h"
#include "KuvAuth/Signing/Wipe.h"

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
  if (!missing.empty()) return Failure{.reason = Reason::MissingSetting, .field = std::move(missing)};
  if (!complete) return Failure{.reason = Reason::OutOfRange, .field = "Host"};
  Result<Credentials> credentials = FromValues({.host = record.Host,
                                                .port = record.Port,
                                                .integrationKey = record.IKey,
                                                .secretKey = Secret::Take(record.SKey)});
  if (!credentials) return NameSetting(credentials.GetFailure());
  return credentials;
}

}  // namespace Kuv::Signing
