#pragma once

#include <string>
#include <vector>

#include "KuvAuth/Signing/Request.h"

namespace Kuv::Signing {

/// Returns a request as one line for a log: the method, the path and the parameters, percent-encoded, as in
/// "POST /v1/auth factor=push&passcode=#####". The value of each parameter in `names` is replaced by "#####".
///
/// A name masks the parameter whether either is percent-encoded or not, also one in the path, where only a
/// name with "&" must be encoded. If a value
/// contains the text of a masked parameter, encoded up to three times, the whole value is masked. A JSON body
/// is shown as its size only. The line contains only visible ASCII characters and spaces, and neither keys
/// nor signatures. The request need not be valid; one of more than `kMaximumSize` characters is not shown.
[[nodiscard]] std::string MaskedForLog(const Request& request, const std::vector<std::string>& names);

/// Does the same for a signed request, without its headers.
[[nodiscard]] std::string MaskedForLog(const SignedRequest& request, const std::vector<std::string>& names);

}  // namespace Kuv::Signing
