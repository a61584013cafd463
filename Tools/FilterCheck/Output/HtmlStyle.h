#pragma once

namespace FilterCheck {

/// The style sheet of the page.
extern const char kHtmlStyle[];

}  // namespace FilterCheck
