#include "FilterHost/FilterHost.h"

#include <algorithm>
#include <ostream>

#include "Common/LogPath.h"
#include "Common/ToolError.h"
#include "FilterHost/HostError.h"
#include "FilterHost/LogTail.h"
#include "FilterHost/Options.h"
#include "FilterHost/Report.h"
#include "KuvAuth/Support/Text.h"

namespace FilterHost {

namespace {

using Tools::Provider;
using Tools::ProviderList;
using Tools::Scenario;

bool IsAsPassed(const FilterAnswer& answer, BOOL passed) {
  return std::all_of(answer.allow.begin(), answer.allow.end(), [&](BOOL allow) { return allow == passed; });
}

std::vector<FilterAnswer> AskAll(const FilterSession& session, const std::vector<Scenario>& scenarios,
                                 const std::vector<GUID>& providers, BOOL allow) {
  std::vector<FilterAnswer> answers;
  answers.reserve(scenarios.size());
  for (const Scenario& scenario : scenarios) answers.push_back(session.Ask(scenario, providers, allow));
  return answers;
}

// A filter that writes the flags that were passed cannot be distinguished from one that writes nothing, so
// the filter is called again for each scenario with the opposite flags. The session ends here, so that the
// DLL is unloaded and its log is complete.
Report AskFilter(const Options& options, ProviderList providers) {
  std::vector<GUID> identifiers;
  for (const Provider& provider : providers) identifiers.push_back(provider.identifier);
  const BOOL passed = options.allow ? TRUE : FALSE;
  const BOOL opposite = options.allow ? FALSE : TRUE;

  const FilterSession session{options.dll};
  Report report{WideToUtf8(session.Path()), options.allow, std::move(providers), {}, {}};
  const std::vector<FilterAnswer> shown = AskAll(session, options.scenarios, identifiers, passed);
  if (options.remoteCredential) report.remote = session.OfferRemoteCredential(*options.remoteCredential);
  const std::vector<FilterAnswer> probes = AskAll(session, options.scenarios, identifiers, opposite);
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const bool untouched = IsAsPassed(shown[i], passed) && IsAsPassed(probes[i], opposite);
    report.scenarios.push_back({options.scenarios[i], shown[i].result, untouched, shown[i].allow});
  }
  return report;
}

void Run(const Options& options, std::ostream& out) {
  const ProviderList providers = options.providersFile.empty()
                                     ? Tools::ReadInstalledProviders()
                                     : Tools::ReadProviderFile(options.providersFile);
  std::optional<LogTail> log;
  if (options.log) log.emplace(Tools::FilterLogPath());
  const Report report = AskFilter(options, providers);
  if (options.json) {
    PrintJson(report, log ? std::optional{log->AddedLines()} : std::nullopt, out);
    return;
  }
  PrintTable(report, out);
  if (log) PrintLog(log->AddedLines(), out);
}

// Returns the exit code of the exception that is being handled.
ExitCode CodeOfException() {
  try {
    throw;
  } catch (const HostError& error) {
    return error.Code();
  } catch (const Tools::UsageError&) {
    return ExitCode::Usage;
  } catch (const Tools::MalformedIdentifierError&) {
    return ExitCode::MalformedIdentifier;
  } catch (const Tools::FileNotReadableError&) {
    return ExitCode::FileNotReadable;
  } catch (const Tools::NoProvidersError&) {
    return ExitCode::NoProviders;
  } catch (...) {
    return ExitCode::Failed;
  }
}

}  // namespace

int RunFilterHost(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err) {
  ExitCode code = ExitCode::Answered;
  try {
    const Options options = ParseOptions(arguments);
    if (options.help) {
      PrintUsage(out);
    } else {
      Run(options, out);
    }
  } catch (const std::exception& error) {
    err << "KuvFilterHost: " << error.what() << '\n';
    code = CodeOfException();
  }
  return static_cast<int>(code);
}

}  // namespace FilterHost
