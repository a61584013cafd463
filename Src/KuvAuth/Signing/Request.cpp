#include "KuvAuth/Signing/Request.h"

namespace Kuv::Signing {

std::vector<std::string> SignedRequest::HeaderLines() const {
  std::vector<std::string> lines;
  lines.reserve(headers.size());
  for (const Header& header : headers) lines.push_back(header.name + ": " + header.value);
  return lines;
}

std::string SignedRequest::HeaderBlock() const {
  std::string block;
  for (const Header& header : headers)
    block.append(header.name).append(": ").append(header.value).append("\r\n");
  return block;
}

bool HasNoBody(std::string_view method) noexcept {
  return method == "GET" || method == "HEAD" || method == "DELETE";
}

}  // namespace Kuv::Signing
