#include "SignedRequest/SignedRequest.h"

#include <exception>
#include <ostream>

#include "SignedRequest/ExampleError.h"
#include "SignedRequest/Options.h"
#include "SignedRequest/Sender.h"
#include "SignedRequest/SignedMessage.h"
#include <KuvAuth/Configuration/Configuration.h>

namespace SignedRequest {

namespace {

void Show(const SignedMessage& message, std::ostream& out) {
  out << "Signed text\n\n" << message.signedText << "\n\n";
  out << "Request\n\n" << RequestHead(message) << message.body << "\n\n";
  if (!message.shownParameters.empty()) {
    out << "Parameters for display\n\n" << message.shownParameters << "\n\n";
  }
}

ExitCode Send(const SignedMessage& message, const Address& address, std::ostream& out) {
  const Answer answer = SendMessageTo(message, address);
  out << "Response\n\n" << answer.status << ' ' << answer.reason << "\n\n" << answer.body << '\n';
  constexpr unsigned kUnauthorized = 401;
  if (answer.status == kUnauthorized) return ExitCode::Refused;
  return answer.status / 100 == 2 ? ExitCode::Done : ExitCode::OtherAnswer;
}

ExitCode Run(const Options& options, std::ostream& out) {
  if (!EnsureConfigurationLoaded()) {
    throw ExampleError{ExitCode::NotConfigured,
                       "Host, IKey and SKey must all be set in HKEY_LOCAL_MACHINE\\Software\\Kuvant\\"
                       "KuvCredProv or its policy key"};
  }
  const SignedMessage message = SignRequest(options);
  Show(message, out);
  out.flush();
  return options.sendTo ? Send(message, *options.sendTo, out) : ExitCode::Done;
}

}  // namespace

int RunSignedRequest(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err) {
  ExitCode code = ExitCode::Done;
  try {
    const Options options = ParseOptions(arguments);
    if (options.help) {
      PrintUsage(out);
    } else {
      code = Run(options, out);
    }
  } catch (const ExampleError& error) {
    err << "KuvSignedRequest: " << error.what() << '\n';
    code = error.Code();
  } catch (const std::exception& error) {
    err << "KuvSignedRequest: " << error.what() << '\n';
    code = ExitCode::Failed;
  }
  return static_cast<int>(code);
}

}  // namespace SignedRequest
