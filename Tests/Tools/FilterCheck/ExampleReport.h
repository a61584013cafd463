#pragma once

#include <string>

#include "FilterCheck/Model/Report.h"

namespace KuvTest {

/// Returns a report without findings: three providers (the last without a name), settings that protect logon,
/// and a registered filter.
FilterCheck::Report ExampleReport();

/// Returns the same report with `--what-if RdpOnly=1`.
FilterCheck::Report ExampleWhatIf();

/// Computes the coverage and the verdicts again after a test has changed the report.
void Conclude(FilterCheck::Report& report);

}  // namespace KuvTest
