#include "FilterSetup/Model/Changes.h"

#include <ostream>

namespace FilterSetup {

void Changes::Add(const std::string& subject, const std::string& text) {
  made_.push_back({subject, text});
  out_ << subject << ": " << (dryRun_ ? "would be " : "") << text << '\n';
}

void Changes::AddFailure(const std::string& subject, const std::string& reason) {
  failures_.push_back({subject, reason});
  err_ << "KuvFilterSetup: " << subject << ": " << reason << '\n';
}

ExitCode Changes::Finish() {
  if (!failures_.empty()) return ExitCode::Incomplete;
  if (made_.empty()) out_ << "nothing to change\n";
  return ExitCode::Done;
}

}  // namespace FilterSetup
