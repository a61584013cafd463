#pragma once

#include <utility>
#include <vector>

namespace KuvBench {

/// Lets the platform answer the questions of a decision at once, for this program and for the life of
/// the object: keys that open and hold nothing, a local session, a current version. What remains to be
/// measured is the decision's own work.
class InstantPlatform {
 public:
  InstantPlatform();
  ~InstantPlatform();
  InstantPlatform(const InstantPlatform&) = delete;
  InstantPlatform& operator=(const InstantPlatform&) = delete;

 private:
  std::vector<std::pair<void**, void*>> replaced_;  ///< import table entries and what they held
};

}  // namespace KuvBench
