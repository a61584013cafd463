#include <windows.h>

#include "Common/ErrorText.h"
#include "Common/ToolError.h"
#include "FilterCheck/Output/Output.h"
#include "KuvAuth/Logging/SystemEvents.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

WORD EventType(const Situation& situation) {
  // The most severe finding is the first.
  const Severity worst = situation.findings.empty() ? Severity::Note : situation.findings.front().severity;
  if (situation.verdict.code == ExitCode::NotCovered || worst == Severity::Problem)
    return EVENTLOG_ERROR_TYPE;
  return worst == Severity::Warning ? EVENTLOG_WARNING_TYPE : EVENTLOG_INFORMATION_TYPE;
}

}  // namespace

void WriteEvent(const Report& report) {
  if (RecordSystemEvent(EventType(report.now), Utf8ToWide(EventText(report))) == 0) {
    throw Tools::ToolError{"cannot write the event to the Windows event log: " +
                           Tools::DescribeError(::GetLastError())};
  }
}

}  // namespace FilterCheck
