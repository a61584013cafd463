#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "FilterSetup/Model/SetupError.h"

namespace FilterSetup {

/// A change, or the reason why something could not be changed.
struct Change {
  std::string subject;  ///< a path, in UTF-8
  std::string text;     ///< what was done, as a past participle, or the reason
};

/// Collects the changes of a run and writes each of them as one line: a change to `out`, a failure to `err`.
class Changes {
 public:
  /// With `dryRun`, the lines describe what would be changed, and the caller changes nothing.
  Changes(std::ostream& out, std::ostream& err, bool dryRun) noexcept
      : out_(out), err_(err), dryRun_(dryRun) {}

  bool IsDryRun() const noexcept { return dryRun_; }
  const std::vector<Change>& Made() const noexcept { return made_; }
  const std::vector<Change>& Failures() const noexcept { return failures_; }

  /// Writes "SUBJECT: TEXT" or, in a dry run, "SUBJECT: would be TEXT".
  void Add(const std::string& subject, const std::string& text);

  /// Writes that the subject could not be changed, and why.
  void AddFailure(const std::string& subject, const std::string& reason);

  /// Writes "nothing to change" if there was neither a change nor a failure. Returns the exit code.
  ExitCode Finish();

 private:
  std::ostream& out_;
  std::ostream& err_;
  bool dryRun_;
  std::vector<Change> made_;
  std::vector<Change> failures_;
};

}  // namespace FilterSetup
