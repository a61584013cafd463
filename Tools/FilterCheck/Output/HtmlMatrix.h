#pragma once

#include "FilterCheck/Output/Comparison.h"
#include "FilterCheck/Output/HtmlWriter.h"

namespace FilterCheck {

/// Returns the class of the elements that have the color of a risk.
std::string_view ClassOf(Risk risk) noexcept;

/// Writes the section of the page that shows the outcome of each scenario and the providers that users see.
void WriteMatrices(const Report& report, HtmlWriter& html);

}  // namespace FilterCheck
