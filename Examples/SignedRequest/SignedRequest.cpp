#include "SignedRequest/SignedRequest.h"

#include <exception>
#include <ostream>

#include "SignedRequest/ExampleError.h"
#include "SignedRequest/Options.h"
#include "SignedRequest/Sender.h"
#include <KuvAuth/ServiceClient/AtlException.h>
#include <KuvAuth/ServiceClient/ClientIdentity.h>

namespace SignedRequest {

namespace {

using namespace Kuv::Signing;

// Returns the value, or ends the program with the reason.
template <typename Type>
Type Require(Result<Type> result, ExitCode code) {
  if (!result) throw ExampleError{code, result.GetFailure().Describe()};
  return std::move(*result);
}

std::string UserAgent() {
  using namespace Kuv::Util;
  return BuildProductToken() + " (" + BuildOsDescription() + BuildClientOptionFields() + ")";
}

// A request that the library refuses comes from the command line.
Kuv::Signing::SignedRequest SignWith(const Request& request, const Credentials& credentials) {
  Result<Kuv::Signing::SignedRequest> result = Sign(request, credentials);
  const bool refused = !result && result.GetFailure().reason != Reason::PlatformCallFailed;
  Kuv::Signing::SignedRequest message =
      Require(std::move(result), refused ? ExitCode::Usage : ExitCode::NotSigned);
  message.headers.push_back({"User-Agent", UserAgent()});
  return message;
}

void Show(const Kuv::Signing::SignedRequest& message, const Options& options, std::ostream& out) {
  out << "Signed text\n\n" << message.canonicalText << "\n\n";
  out << "Request\n\n" << message.method << ' ' << message.target << " HTTP/1.1\r\n";
  out << "Host: " << message.host << "\r\n" << message.HeaderBlock();
  if (!message.contentType.empty()) out << "Content-Length: " << message.body.size() << "\r\n";
  out << "\r\n" << message.body << "\n\n";
  out << "Text for a log\n\n" << MaskedForLog(options.request, options.masked) << "\n\n";
}

ExitCode Send(const Kuv::Signing::SignedRequest& message, const Address& address, std::ostream& out) {
  const Answer answer = SendMessageTo(message, address);
  out << "Response\n\n" << answer.status << ' ' << answer.reason << "\n\n" << answer.body << '\n';
  constexpr unsigned kUnauthorized = 401;
  if (answer.status == kUnauthorized) return ExitCode::Refused;
  return answer.status / 100 == 2 ? ExitCode::Done : ExitCode::OtherAnswer;
}

ExitCode Run(const Options& options, const LoadCredentials& load, std::ostream& out) {
  const Credentials credentials = Require(load(), ExitCode::NotConfigured);
  const Kuv::Signing::SignedRequest message = SignWith(options.request, credentials);
  Show(message, options, out);
  out.flush();
  return options.sendTo ? Send(message, *options.sendTo, out) : ExitCode::Done;
}

}  // namespace

int RunSignedRequest(const std::vector<std::wstring>& arguments, const LoadCredentials& load,
                     std::ostream& out, std::ostream& err) {
  const auto fail = [&err](ExitCode code, const std::string& message) {
    err << "KuvSignedRequest: " << message << '\n';
    return static_cast<int>(code);
  };
  try {
    const Options options = ParseOptions(arguments);
    if (!options.help) return static_cast<int>(Run(options, load, out));
    PrintUsage(out);
    return static_cast<int>(ExitCode::Done);
  } catch (const ExampleError& error) {
    return fail(error.Code(), error.what());
  } catch (const std::exception& error) {
    return fail(ExitCode::Failed, error.what());
  } catch (const CAtlException&) {
    // The encoders of the library throw it for a text that is too long. It is not a std::exception.
    return fail(ExitCode::Failed, "a text is too long");
  }
}

}  // namespace SignedRequest
