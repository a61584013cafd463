#pragma once

#include <string>

#include "FilterCheck/Model/Report.h"

namespace KuvTest {

/// A report written by hand: three providers, of which the last has no name, settings that protect logon, and
/// a registered filter. Without findings.
FilterCheck::Report MadeUpReport();

/// The same, with the decision and settings as `RdpOnly` = 1 would have them.
FilterCheck::Report MadeUpWhatIf();

}  // namespace KuvTest
