#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace Tools {

/// Throws `UsageError` with the message and a hint at `--help`.
[[noreturn]] void ThrowUsage(const std::string& message);

/// Throws `UsageError` for an argument that is not in the table of options.
[[noreturn]] void ThrowUnknownOption(const std::wstring& argument);

/// Throws `UsageError` for an option without its value.
[[noreturn]] void ThrowNeedsValue(const std::wstring& option);

/// Formats text from the command line for a message, in single quotes.
std::string Quoted(const std::wstring& text);

/// One row of a table of options. `Target` is the type that stores the options.
template <typename Target>
struct Option {
  const wchar_t* name;
  bool takesValue;
  void (*apply)(Target& target, const std::wstring& value);
};

/// Applies the arguments (without the program name) in order. Returns true for `--help`, `-h` or `/?`, which
/// are not in the table, and ignores the arguments after it. Throws `UsageError` and the exceptions of the
/// options.
template <typename Target>
bool ApplyOptions(const std::vector<std::wstring>& arguments, std::span<const Option<Target>> options,
                  Target& target) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::wstring& argument = arguments[i];
    if (argument == L"--help" || argument == L"-h" || argument == L"/?") return true;
    const auto option = std::find_if(options.begin(), options.end(),
                                     [&](const Option<Target>& row) { return row.name == argument; });
    if (option == options.end()) ThrowUnknownOption(argument);
    if (!option->takesValue) {
      option->apply(target, {});
      continue;
    }
    ++i;
    if (i == arguments.size() || arguments[i].empty()) ThrowNeedsValue(argument);
    option->apply(target, arguments[i]);
  }
  return false;
}

}  // namespace Tools
