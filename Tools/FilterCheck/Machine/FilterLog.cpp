#include "FilterCheck/Machine/FilterLog.h"

#include <windows.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <map>
#include <string_view>

#include "Common/ErrorText.h"
#include "Common/FileBytes.h"
#include "Common/LogPath.h"
#include "Common/PlainText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/Text.h"
#include "KuvCredFilter/UsageScenario.h"

namespace FilterCheck {

namespace {

constexpr std::size_t kMostLogBytes = std::size_t{1024} * 1024;
constexpr std::size_t kMostLineBytes = 2045;  // without the line end
constexpr std::size_t kMostErrors = 3;
constexpr std::size_t kMostErrorBytes = 300;

constexpr std::string_view kConsole = "Local login session";
constexpr std::string_view kRemote = "Remote login session (RDP)";
constexpr std::string_view kRdpOnly = "Kuv is configured for RDP only login";
constexpr std::string_view kLogon = "Usage scenario 1/CPUS_LOGON supported";
constexpr std::string_view kUnlock = "Usage scenario 2/CPUS_UNLOCK_WORKSTATION supported";
constexpr std::string_view kChangePassword = "Usage scenario 3/CPUS_CHANGE_PASSWORD supported";
constexpr std::string_view kElevation = "Usage scenario 4/CPUS_CREDUI supported";
constexpr std::string_view kDisabling = "Disabling Kuv Credential Provider";
constexpr std::string_view kOpenConsole = "Kuv is configured to not protect logon {logonType: Local}.";
constexpr std::string_view kOpenRemote = "Kuv is configured to not protect logon {logonType: RDP}.";
constexpr std::string_view kNoProvider = "Kuv Credential Provider not found. Filter permitting all.";
// Only the start of these two is fixed.
constexpr std::string_view kException = "Filter encountered an exception. '";
constexpr std::string_view kCredentialUi = "Filter usage scenario 4/CPUS_CREDUI, flags=0x";

// What the last line of a thread shows about the decision that it is making. `Any` is for rules only.
enum class State : std::uint8_t { Any, Idle, InConsole, InRemote, InElevation, InFailure };

// The kind of sign-in of a decision that a line shows. The first three are in the order of `SignIn`.
enum class Shows : std::uint8_t { Console, Remote, Elevation, UnknownKind, Nothing };

struct Rule {
  std::string_view message;
  State before;
  State after;
  Shows shows;
  Outcome outcome = Outcome::Untouched;
};

using enum State;
using enum Outcome;

// The first rule that applies counts. Without any, the thread is idle: the lines of a decision follow each
// other without other lines of the same thread.
constexpr Rule kRules[] = {
    {kConsole, Any, InConsole, Shows::Nothing},
    {kRemote, Any, InRemote, Shows::Nothing},
    {kRdpOnly, InConsole, InConsole, Shows::Nothing},
    {kRdpOnly, InRemote, InRemote, Shows::Nothing},
    {kCredentialUi, Any, InElevation, Shows::Nothing},
    {kLogon, InConsole, Idle, Shows::Console, Protected},
    {kLogon, InRemote, Idle, Shows::Remote, Protected},
    {kUnlock, InConsole, Idle, Shows::Console, Protected},
    {kUnlock, InRemote, Idle, Shows::Remote, Protected},
    {kChangePassword, InConsole, Idle, Shows::Console, Protected},
    {kChangePassword, InRemote, Idle, Shows::Remote, Protected},
    {kElevation, Any, Idle, Shows::Elevation, Protected},
    {kDisabling, InConsole, Idle, Shows::Console, Unprotected},
    {kDisabling, InRemote, Idle, Shows::Remote, Unprotected},
    {kDisabling, InElevation, Idle, Shows::Elevation, Unprotected},
    {kDisabling, InFailure, Idle, Shows::Nothing},
    {kDisabling, Any, Idle, Shows::UnknownKind},
    {kOpenConsole, Any, Idle, Shows::Console, Untouched},
    {kOpenRemote, Any, Idle, Shows::Remote, Untouched},
    {kNoProvider, Any, Idle, Shows::UnknownKind},
    {kException, Any, InFailure, Shows::UnknownKind},
};

std::string TimeText(const SYSTEMTIME& time) {
  return FormatToString("%04u-%02u-%02u %02u:%02u:%02u", unsigned{time.wYear}, unsigned{time.wMonth},
                        unsigned{time.wDay}, unsigned{time.wHour}, unsigned{time.wMinute},
                        unsigned{time.wSecond});
}

// A line of the log. The texts point into its bytes.
struct Line {
  std::string time;
  std::uint64_t thread;  // process and thread ID
  std::string_view level;
  std::string_view message;
};

bool IsPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

bool IsLevel(std::string_view text) {
  constexpr std::string_view kLevels[] = {"Trace", "Debug", "Info", "Warning", "Error", "Critical"};
  return std::find(std::begin(kLevels), std::end(kLevels), text) != std::end(kLevels);
}

// Reads the numbers of "%.2d/%.2d/%.2d %.2d:%.2d:%.2d [%u](%u) [" and removes that text. Returns false if the
// line starts with another text.
bool TakeNumbers(std::string_view& rest, std::uint32_t (&numbers)[8]) {
  constexpr std::string_view kAfter[] = {"/", "/", " ", ":", ":", " [", "](", ") ["};
  const std::string_view line = rest;
  for (std::size_t i = 0; i < std::size(numbers); ++i) {
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), numbers[i]);
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    if (error != std::errc{} || !rest.starts_with(kAfter[i])) return false;
    rest.remove_prefix(kAfter[i].size());
  }
  const auto& [month, day, year, hour, minute, second, process, thread] = numbers;
  return line.starts_with(FormatToString("%.2u/%.2u/%.2u %.2u:%.2u:%.2u [%u](%u) [", month, day, year, hour,
                                         minute, second, process, thread));
}

// Returns nothing for a line that the filter does not write, for example one that is not ASCII.
std::optional<Line> ParseLine(std::string_view rest) {
  std::uint32_t numbers[8] = {};
  if (rest.size() > kMostLineBytes || !IsPrintable(rest) || !TakeNumbers(rest, numbers)) return std::nullopt;
  if (std::any_of(numbers, numbers + 6, [](std::uint32_t number) { return number > 999; }))
    return std::nullopt;
  const auto word = [&](std::size_t index) { return static_cast<WORD>(numbers[index]); };
  // The log has the year modulo 1,000.
  const SYSTEMTIME time{
      static_cast<WORD>(2000 + word(2)), word(0), /*wDayOfWeek=*/0, word(1), word(3), word(4), word(5), 0};
  FILETIME unused{};
  if (::SystemTimeToFileTime(&time, &unused) == FALSE) return std::nullopt;
  const std::size_t end = rest.find("] ");
  if (end == std::string_view::npos || !IsLevel(rest.substr(0, end))) return std::nullopt;
  return Line{TimeText(time), (std::uint64_t{numbers[6]} << 32) | numbers[7], rest.substr(0, end),
              rest.substr(end + 2)};
}

// Returns the start of a message of which only the start is fixed, and any other message as it is.
std::string_view FixedPart(std::string_view message) {
  if (message.starts_with(kException)) return kException;
  if (!message.starts_with(kCredentialUi)) return message;
  std::uint32_t flags = 0;
  const char* const end = message.data() + message.size();
  const auto [stop, error] = std::from_chars(message.data() + kCredentialUi.size(), end, flags, 16);
  const bool isPrompt = error == std::errc{} && stop == end && (flags & Kuv::kElevationPrompt) != 0;
  return isPrompt ? kCredentialUi : message;
}

// Follows the decisions of all threads and collects the evidence.
class LogReader {
 public:
  explicit LogReader(Evidence& evidence) noexcept : evidence_(evidence) {}

  void Add(const Line& line) {
    if (line.level == "Error" || line.level == "Critical") AddError(line);
    State& state = states_.try_emplace(line.thread, Idle).first->second;
    const std::string_view message = FixedPart(line.message);
    const auto rule = std::find_if(std::begin(kRules), std::end(kRules), [&](const Rule& row) {
      return row.message == message && (row.before == Any || row.before == state);
    });
    state = rule == std::end(kRules) ? Idle : rule->after;
    if (rule != std::end(kRules) && rule->shows != Shows::Nothing) AddDecision(line, *rule);
  }

 private:
  void AddDecision(const Line& line, const Rule& rule) {
    evidence_.lastRun = line.time;
    evidence_.lastRunFailed = rule.after == InFailure;
    evidence_.lastRunFoundNoKuvProvider = rule.message == kNoProvider;
    if (rule.shows == Shows::UnknownKind) return;
    evidence_.decisions.at(static_cast<std::size_t>(rule.shows)) = LoggedDecision{line.time, rule.outcome};
  }

  void AddError(const Line& line) {
    const std::string text{line.message.substr(0, kMostErrorBytes)};
    if (evidence_.errors.size() == kMostErrors) evidence_.errors.erase(evidence_.errors.begin());
    evidence_.errors.push_back(
        {line.time, Tools::PlainUtf8(text) + (line.message.size() > kMostErrorBytes ? "..." : "")});
  }

  Evidence& evidence_;
  std::map<std::uint64_t, State> states_;
};

void ReadLines(std::string_view log, Evidence& evidence) {
  constexpr std::string_view kLineEnd = "\r\n";
  // The first line may lack its start.
  if (log.size() == kMostLogBytes) log.remove_prefix(std::min(log.find(kLineEnd), log.size()));
  LogReader reader{evidence};
  for (std::size_t end = 0; (end = log.find(kLineEnd)) != std::string_view::npos;) {
    const std::optional<Line> line = ParseLine(log.substr(0, end));
    if (line) reader.Add(*line);
    log.remove_prefix(end + kLineEnd.size());
  }
}

// Returns the local time so many seconds before the start of Windows.
std::string TimeBeforeStart(std::uint64_t seconds) {
  FILETIME now{};
  ::GetSystemTimeAsFileTime(&now);
  ULARGE_INTEGER start{};
  start.LowPart = now.dwLowDateTime;
  start.HighPart = now.dwHighDateTime;
  start.QuadPart -= (::GetTickCount64() + seconds * 1000) * 10'000;
  const FILETIME shifted{start.LowPart, start.HighPart};
  SYSTEMTIME universal{};
  SYSTEMTIME local{};
  if (::FileTimeToSystemTime(&shifted, &universal) == FALSE ||
      ::SystemTimeToTzSpecificLocalTime(/*lpTimeZoneInformation=*/nullptr, &universal, &local) == FALSE) {
    return {};
  }
  return TimeText(local);
}

}  // namespace

Evidence ReadEvidence() {
  // The clock may have been set after the first decision.
  constexpr std::uint64_t kToleranceSeconds = 120;
  const std::wstring path = Tools::FilterLogPath();
  Evidence evidence;
  evidence.log = Tools::PlainText(path);
  evidence.startOfWindows = TimeBeforeStart(0);
  try {
    const std::string log = Tools::ReadFileEnd(path, kMostLogBytes);
    evidence.exists = true;
    ReadLines(log, evidence);
  } catch (const Tools::FileNotReadableError& error) {
    evidence.exists = error.code() != ERROR_FILE_NOT_FOUND && error.code() != ERROR_PATH_NOT_FOUND;
    if (evidence.exists) evidence.unreadable = Tools::DescribeError(error.code());
  }
  if (!evidence.lastRun.empty() && !evidence.startOfWindows.empty())
    evidence.ranSinceStart = evidence.lastRun >= TimeBeforeStart(kToleranceSeconds);
  return evidence;
}

}  // namespace FilterCheck
