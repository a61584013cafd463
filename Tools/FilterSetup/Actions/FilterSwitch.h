#pragma once

#include <iosfwd>

#include "FilterCheck/Model/SignIn.h"
#include "FilterSetup/Model/Changes.h"

namespace FilterSetup {

/// Removes the filter from the list of filters in both registry views. Adds each change and each failure to
/// `changes`. If anything was changed, writes a line to the log and an event with the name of the user; a
/// failure of these is written to `err` only. Throws `Tools::ToolError` if the list cannot be read.
void DisableFilter(Changes& changes, std::ostream& err);

/// Adds the filter to the list of filters in each registry view in which its class is registered, and records
/// it in the same way. Unless `force` is set, throws `RefusedError` and changes nothing if no one could sign
/// in at a demanded kind of sign-in with the filter, or if no one would be asked for the second factor there.
/// Throws `Tools::ToolError` if the machine cannot be examined.
void EnableFilter(const FilterCheck::Demand& demand, bool force, Changes& changes, std::ostream& err);

}  // namespace FilterSetup
