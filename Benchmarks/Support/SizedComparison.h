#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Support/Comparison.h"

namespace KuvBench {

/// The content of the inputs of a comparison. No input contains a NUL, a space or a tilde, which some of the
/// other libraries reject or encode differently.
enum class Content {
  Bytes,       ///< random bytes
  Parameters,  ///< words of 1 to 9 characters, each followed by a character to escape
  Words        ///< words without characters to escape
};

/// A sequence of different inputs of one size, so that the branch predictor cannot learn a single input.
class Inputs {
 public:
  Inputs(Content content, std::size_t size);

  const std::string& Next() {
    if (++next_ == inputs_.size()) next_ = 0;
    return inputs_[next_];
  }
  const std::vector<std::string>& All() const { return inputs_; }

 private:
  std::vector<std::string> inputs_;
  std::size_t next_ = 0;
};

// Converts a result to text for the comparison of results.
inline std::string AsText(const std::string& text) {
  return text;
}
inline std::string AsText(std::string_view text) {
  return std::string{text};
}
inline std::string AsText(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

/// An operation on a text and its name and goal.
class Measured {
 public:
  template <typename Operation>
  Measured(const char* name, Goal goal, Operation operation)
      : name_(name),
        goal_(goal),
        work_([operation](Inputs& inputs) {
          return Repeat([&inputs, operation] {
            auto result = operation(inputs.Next());
            benchmark::DoNotOptimize(result);
          });
        }),
        text_([operation](const std::string& input) { return AsText(operation(input)); }) {}

  const char* Name() const { return name_; }
  Goal GetGoal() const { return goal_; }
  Work On(Inputs& inputs) const { return work_(inputs); }
  std::string Text(const std::string& input) const { return text_(input); }

 private:
  const char* name_;
  Goal goal_;
  std::function<Work(Inputs&)> work_;
  std::function<std::string(const std::string&)> text_;
};

/// The number of batches of a comparison.
enum class Pace {
  Quick,
  Slow  ///< fewer batches, for operations that take milliseconds
};

/// Registers the comparisons of `subject` with each of `baselines` for inputs of 16 B to 16 MB. A comparison
/// fails if the results differ. Reports the counters of `Compare` and `bytes`, the size of the input.
void RegisterSizes(Content content, const Measured& subject, const std::vector<Measured>& baselines,
                   Pace pace = Pace::Quick);

}  // namespace KuvBench
