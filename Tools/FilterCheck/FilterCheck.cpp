#include "FilterCheck/FilterCheck.h"

#include <windows.h>

#include <exception>
#include <iterator>
#include <ostream>

#include "FilterCheck/Judgment/Coverage.h"
#include "FilterCheck/Judgment/Verdict.h"
#include "FilterCheck/Machine/FilterLog.h"
#include "FilterCheck/Machine/HostReader.h"
#include "FilterCheck/Machine/RegistrationReader.h"
#include "FilterCheck/Output/NewFile.h"
#include "FilterCheck/Output/Output.h"
#include "FilterCheck/SettingsCheck.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

std::string Now() {
  SYSTEMTIME time{};
  ::GetSystemTime(&time);
  return FormatToString("%04u-%02u-%02uT%02u:%02u:%02uZ", unsigned{time.wYear}, unsigned{time.wMonth},
                        unsigned{time.wDay}, unsigned{time.wHour}, unsigned{time.wMinute},
                        unsigned{time.wSecond});
}

// The convention of no-color.org: any value counts.
bool IsColorDisabled() {
  wchar_t value[2] = {};
  return ::GetEnvironmentVariableW(L"NO_COLOR", value, static_cast<DWORD>(std::size(value))) != 0;
}

ExitCode Run(const Options& options, std::ostream& out, bool isConsole) {
  const Report report = CheckMachine(options);
  if (!options.htmlFile.empty()) WriteNewFile(options.htmlFile, HtmlPage(report));
  if (options.event) WriteEvent(report);
  if (options.json) {
    PrintJson(report, out);
  } else {
    PrintReport(report, isConsole && !options.noColor && !IsColorDisabled(), out);
  }
  return report.Subject().verdict.code;
}

}  // namespace

Report CheckMachine(const Options& options) {
  Report report{};
  report.time = Now();
  report.demand = options.demand;
  report.registration = ReadRegistration();
  report.host = ReadHost(report.registration);
  report.obstacle = ObstacleOf(report.registration, report.host);
  report.evidence = ReadEvidence();
  report.now = Examine();
  Conclude(report, report.now);
  report.whatIfSettings = options.whatIfSettings;
  if (!options.whatIfSettings.empty()) {
    report.whatIf = ExamineWhatIf(options.whatIfSettings);
    Conclude(report, *report.whatIf);
  }
  return report;
}

int RunFilterCheck(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err,
                   bool isConsole) {
  ExitCode code = ExitCode::Covered;
  try {
    const Options options = ParseOptions(arguments);
    if (options.help) {
      PrintUsage(out);
    } else if (options.version) {
      PrintVersion(out);
    } else {
      code = Run(options, out, isConsole);
    }
  } catch (const std::exception& error) {
    err << "KuvFilterCheck: " << error.what() << '\n';
    code = ExitCode::Failed;
  }
  return static_cast<int>(code);
}

}  // namespace FilterCheck
