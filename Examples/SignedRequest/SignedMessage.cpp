#include "SignedRequest/SignedMessage.h"

#include "SignedRequest/ExampleError.h"

namespace SignedRequest {

namespace {

using namespace Kuv::Util;

// The library returns an empty text on failure.
std::string Require(std::string text, const char* what) {
  if (text.empty())
    throw ExampleError{ExitCode::NotSigned, std::string{"the library could not build the "} + what};
  return text;
}

std::string UserAgent() {
  return BuildProductToken() + " (" + BuildOsDescription() + BuildClientOptionFields() + ")";
}

// The date is signed too, so the header and the signed text need the same date.
std::string DateHeader(const Options& options, std::string& date) {
  if (!options.date) return Require(BuildDateHeader(&date), "Date header");
  date = *options.date;
  return BuildHeaderLine("Date", date);
}

}  // namespace

SignedMessage SignRequest(const Options& options) {
  const bool hasNoBody = HasNoBody(options.method);
  const std::string contentType = options.json ? "application/json" : "application/x-www-form-urlencoded";
  const std::string parameters = BuildParameterString(options.parameters, {});

  SignedMessage message{options.method, options.path, options.host, {}, {}, {}, {}};
  message.shownParameters = BuildParameterString(options.parameters, options.masked);
  if (options.json) {
    message.body = *options.json;
  } else if (!hasNoBody) {
    message.body = parameters;
  } else if (!parameters.empty()) {
    message.target += "?" + parameters;
  }

  std::string date;
  message.headers = DateHeader(options, date);
  message.signedText =
      IsJsonContentType(contentType)
          ? Require(BuildJsonAuthorizationSignature(date, message.method, message.host, options.path,
                                                    message.body),
                    "text to sign")
          : BuildAuthorizationSignature(date, message.method, message.host, options.path, parameters);
  message.headers += Require(BuildAuthorizationHeader(message.signedText), "Authorization header");
  message.headers += BuildHeaderLine("User-Agent", UserAgent());
  if (!hasNoBody) message.headers += BuildHeaderLine("Content-Type", contentType);
  return message;
}

std::string RequestHead(const SignedMessage& message) {
  std::string head = message.method + " " + message.target + " HTTP/1.1\r\n";
  head += BuildHeaderLine("Host", message.host) + message.headers;
  if (!HasNoBody(message.method)) {
    head += BuildHeaderLine("Content-Length", std::to_string(message.body.size()));
  }
  return head + "\r\n";
}

}  // namespace SignedRequest
