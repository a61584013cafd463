#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "KuvAuth/Signing/Signing.h"

// The credentials and requests of the tests.
namespace KuvTest {

inline constexpr char kHost[] = "auth.kuv.example";
inline constexpr char kUser[] = "SAMPLECLIENTIDENTIFIER";
inline constexpr char kKey[] = "sample-key-that-signs-nothing";
inline constexpr char kDate[] = "Tue, 03 Nov 2026 09:30:00 GMT";

inline Kuv::Signing::Credentials SampleCredentials(std::string_view key = kKey, std::string user = kUser) {
  return Kuv::Signing::Credentials::FromValues(
             {.host = kHost, .integrationKey = std::move(user), .secretKey = Kuv::Signing::Secret{key}})
      .Value();
}

inline Kuv::Signing::Request SampleRequest() {
  return {.method = "POST",
          .path = "/v1/auth",
          .content = Kuv::Util::ParameterList{{"user", L"Zo\u00EB Smith"}, {"factor", L"push"}},
          .date = kDate};
}

inline Kuv::Signing::Request SampleJson() {
  return {.method = "PUT",
          .path = "/v1/users",
          .content = Kuv::Signing::JsonBody{R"({"name": "x"})"},
          .date = kDate};
}

}  // namespace KuvTest
