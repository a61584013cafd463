#pragma once

#include <utility>
#include <vector>

namespace KuvBench {

/// Replaces the platform calls of a decision in this program for the lifetime of the object, so that a
/// benchmark measures only the decision: keys open and have no values, the session is local, the version is
/// current.
class InstantPlatform {
 public:
  InstantPlatform();
  ~InstantPlatform();
  InstantPlatform(const InstantPlatform&) = delete;
  InstantPlatform& operator=(const InstantPlatform&) = delete;

 private:
  std::vector<std::pair<void**, void*>> replaced_;  ///< import table entries and their original values
};

}  // namespace KuvBench
