#pragma once

#include <array>
#include <string>

/// @file
/// The entry of the filter in the list of filters, in the registry view of 64-bit and of 32-bit programs.

namespace FilterSetup {

/// The filter in one of the two registry views.
struct FilterView {
  bool wow64;       ///< the view of 32-bit programs
  bool enabled;     ///< the filter is in the list of filters
  bool registered;  ///< its class is registered for all users and names a module
};

/// Reads the 64-bit view, then the 32-bit one. Throws `Tools::ToolError`.
std::array<FilterView, 2> ReadFilterViews();

/// Returns the name of the filter's entry in a view: "HKLM\SOFTWARE\...".
std::string EntryName(bool wow64);

/// Adds the filter to the list of filters in a view, with the values of `DllRegisterServer`. Leaves no entry
/// if it fails. Throws `Tools::ToolError`.
void AddEntry(bool wow64);

/// Removes the filter from the list of filters in a view. Throws `Tools::ToolError`.
void RemoveEntry(bool wow64);

}  // namespace FilterSetup
