#include "Common/CommandLine.h"

#include "Common/PlainText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/Text.h"

namespace Tools {

void ThrowUsage(const std::string& message) {
  throw UsageError{message + "; see --help"};
}

void ThrowUnknownOption(const std::wstring& argument) {
  // Not shown: an argument that is not an option may be a secret after an extra space, and so may the text
  // after an equals sign.
  ThrowUsage(argument.starts_with(L"--") ? "unknown option " + Quoted(argument.substr(0, argument.find(L'=')))
                                         : "unexpected argument that is not an option");
}

void ThrowNeedsValue(const std::wstring& option) {
  ThrowUsage(WideToUtf8(option) + " requires a value");
}

std::string Quoted(const std::wstring& text) {
  return "'" + PlainText(text) + "'";
}

}  // namespace Tools
