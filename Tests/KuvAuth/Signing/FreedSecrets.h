#pragma once

#include <string_view>

// Replaces operator new and delete of the test program, so that a test can search freed memory. Not
// thread-safe.
namespace KuvTest {

/// Counts the heap blocks that are freed while they contain a text, during the lifetime of the object. One at
/// a time.
class FreedSecrets {
 public:
  explicit FreedSecrets(std::string_view secret);
  ~FreedSecrets();
  FreedSecrets(const FreedSecrets&) = delete;
  FreedSecrets& operator=(const FreedSecrets&) = delete;

  int Count() const;
};

}  // namespace KuvTest
