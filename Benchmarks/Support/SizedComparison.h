#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Support/Comparison.h"

namespace KuvBench {

/// What the inputs of a comparison are made of. No text holds a NUL, a blank or a tilde, which some rivals
/// cannot take or write in another way.
enum class Content {
  Bytes,       ///< random bytes
  Parameters,  ///< words of 1 to 9 characters and a mark to be escaped behind each
  Words        ///< nothing to be escaped
};

/// Many inputs of one size, in turn, so that no operation sees again what the processor has just learnt.
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

// How results are compared: as text.
inline std::string AsText(const std::string& text) {
  return text;
}
inline std::string AsText(std::string_view text) {
  return std::string{text};
}
inline std::string AsText(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

/// An operation on a text, to be measured.
class Measured {
 public:
  template <typename Operation>
  Measured(const char* name, Goal goal, Operation operation)
      : name_(name),
        goal_(goal),
        work_([operation](Inputs& inputs) {
          return Repeat([&inputs, operation] {
            const auto result = operation(inputs.Next());
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

/// Registers the comparison of `subject` with each rival for inputs of 16 B to 16 MB. A rival whose result
/// differs is an error. Reports what `Compare` does, and `bytes`, the size. `Pace::Slow` is for operations
/// of milliseconds, of which fewer are run.
enum class Pace { Quick, Slow };
void RegisterSizes(Content content, const Measured& subject, const std::vector<Measured>& rivals,
                   Pace pace = Pace::Quick);

}  // namespace KuvBench
