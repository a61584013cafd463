#include "Module/LoggedModule.h"

#include <regex>
#include <stdexcept>

namespace KuvTest {

namespace {

// "06/02/25 12:59:52 [1240](2248) [Info] text" to "Info: text", addresses masked.
std::string Normalize(const std::string& line) {
  static const std::regex form{R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d \[\d+\]\(\d+\) \[(\w+)\] (.*))"};
  // The first block of a class identifier is as long as an address of 32 bits.
  static const std::regex address{sizeof(void*) == 8 ? "\\b[0-9A-F]{16}\\b" : "\\b[0-9A-F]{8}\\b(?!-)"};
  std::smatch match;
  if (!std::regex_match(line, match, form)) throw std::runtime_error{"not a log line: " + line};
  return std::regex_replace(match[1].str() + ": " + match[2].str(), address, "%p");
}

}  // namespace

std::vector<std::string> LoggedModule::NewLogLines() {
  const std::string text = ReadFileBytes(logPath_).substr(logRead_);
  logRead_ += text.size();
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find("\r\n", start);
    if (end == std::string::npos) throw std::runtime_error{"incomplete line: " + text.substr(start)};
    lines.push_back(Normalize(text.substr(start, end - start)));
    start = end + 2;
  }
  return lines;
}

}  // namespace KuvTest
