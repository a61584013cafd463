#pragma once

namespace Kuv::Signing {

/// The `Content-Type` of a JSON body.
inline constexpr char kJsonType[] = "application/json";
/// The `Content-Type` of parameters in a body.
inline constexpr char kParameterType[] = "application/x-www-form-urlencoded";

}  // namespace Kuv::Signing
