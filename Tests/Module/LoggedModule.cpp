#include "Module/LoggedModule.h"

#include <map>
#include <regex>
#include <stdexcept>

#include "KuvAuth/Support/Text.h"

namespace KuvTest {

namespace {

// The regular expression for a line of the log, from the page for administrators.
class LinePattern {
 public:
  LinePattern() {
    const std::string page = ReadFileBytes(Utf8ToWide(KUV_FLEET_PAGE));
    static const std::regex block{R"(<!-- line -->\s*```text\r?\n(.*)\r?\n```)"};
    std::smatch match;
    if (!std::regex_search(page, match, block)) throw std::runtime_error{"the page has no pattern"};
    // This dialect of regular expressions has no named groups, so their names become positions.
    static const std::regex group{R"(\(\?<(\w+)>)"};
    const std::string named = match[1];
    for (std::sregex_iterator at{named.begin(), named.end(), group}; at != std::sregex_iterator{}; ++at) {
      names_.push_back((*at)[1]);
    }
    pattern_ = std::regex_replace(named, group, "(");
  }

  // Returns the groups by name.
  std::map<std::string, std::string> Groups(const std::string& line) const {
    std::smatch match;
    if (!std::regex_match(line, match, pattern_)) throw std::runtime_error{"not a log line: " + line};
    if (match.size() != names_.size() + 1) throw std::runtime_error{"the pattern has groups without a name"};
    std::map<std::string, std::string> groups;
    for (std::size_t i = 0; i < names_.size(); ++i) groups[names_[i]] = match[i + 1];
    return groups;
  }

 private:
  std::vector<std::string> names_;
  std::regex pattern_;
};

// In units of 100 ns.
std::uint64_t Ticks(const SYSTEMTIME& time) {
  FILETIME ticks{};
  if (::SystemTimeToFileTime(&time, &ticks) == FALSE) throw std::runtime_error{"not a time"};
  return (std::uint64_t{ticks.dwHighDateTime} << 32) | ticks.dwLowDateTime;
}

// The line was written by this thread, within the last minutes.
void RequireOrigin(const std::map<std::string, std::string>& groups, const std::string& line) {
  const auto number = [&](const char* name) { return std::stoul(groups.at(name)); };
  SYSTEMTIME now{};
  ::GetLocalTime(&now);
  SYSTEMTIME written{};
  written.wYear = static_cast<WORD>(2000 + number("year"));
  written.wMonth = static_cast<WORD>(number("month"));
  written.wDay = static_cast<WORD>(number("day"));
  written.wHour = static_cast<WORD>(number("hour"));
  written.wMinute = static_cast<WORD>(number("minute"));
  written.wSecond = static_cast<WORD>(number("second"));
  constexpr std::uint64_t kMinute = 600'000'000;
  const bool recent = Ticks(written) <= Ticks(now) && Ticks(now) - Ticks(written) < 10 * kMinute;
  if (!recent || number("process") != ::GetCurrentProcessId() || number("thread") != ::GetCurrentThreadId())
    throw std::runtime_error{"wrong time, process or thread: " + line};
}

// "06/02/25 12:59:52 [1240](2248) [Info] text" to "Info: text", addresses masked.
std::string Normalize(const std::string& line) {
  static const LinePattern pattern;
  // The first block of a class identifier is as long as an address of 32 bits.
  static const std::regex address{sizeof(void*) == 8 ? "\\b[0-9A-F]{16}\\b" : "\\b[0-9A-F]{8}\\b(?!-)"};
  const auto groups = pattern.Groups(line);
  RequireOrigin(groups, line);
  return std::regex_replace(groups.at("level") + ": " + groups.at("message"), address, "%p");
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
