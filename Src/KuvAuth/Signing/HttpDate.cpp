#include "KuvAuth/Signing/HttpDate.h"

#include <algorithm>
#include <charconv>
#include <span>

namespace Kuv::Signing {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year_month_day;

constexpr std::string_view kDayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::string_view kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr sys_seconds kFirst = sys_days{std::chrono::year{0} / 1 / 1};
constexpr sys_seconds kEnd = sys_days{std::chrono::year{10000} / 1 / 1};

constexpr std::size_t kLength = 29;

// Reads the parts of a text from the start. After the first part that is missing, `Ok` is false.
class DateReader {
 public:
  explicit DateReader(std::string_view text) noexcept : rest_(text), ok_(text.size() == kLength) {}

  bool Ok() const noexcept { return ok_ && rest_.empty(); }

  void Skip(std::string_view expected) noexcept {
    ok_ = ok_ && rest_.starts_with(expected);
    if (ok_) rest_.remove_prefix(expected.size());
  }

  int Number(std::size_t digits) noexcept {
    const std::string_view text = rest_.substr(0, digits);
    unsigned number = 0;
    const char* const end = std::from_chars(text.data(), text.data() + text.size(), number).ptr;
    ok_ = ok_ && static_cast<std::size_t>(end - text.data()) == digits;
    rest_.remove_prefix(text.size());
    return static_cast<int>(number);
  }

  // Returns the index of the name that follows. If it is none of these, it stays in the rest, which is then
  // not empty at the end: the other parts are shorter than the text.
  unsigned Name(std::span<const std::string_view> names) noexcept {
    const auto name = std::ranges::find_if(
        names, [this](std::string_view expected) { return rest_.starts_with(expected); });
    if (name == names.end()) return 0;
    rest_.remove_prefix(name->size());
    return static_cast<unsigned>(name - names.begin());
  }

 private:
  std::string_view rest_;
  bool ok_;
};

// Returns the last digits of a number.
template <std::size_t Count>
std::string Digits(unsigned number) {
  std::string text(Count, '0');
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit, number /= 10)
    *digit = static_cast<char>('0' + number % 10);
  return text;
}

}  // namespace

Result<std::string> FormatHttpDate(sys_seconds time) {
  if (time < kFirst || time >= kEnd) return Failure{.reason = Reason::OutOfRange, .field = "date"};
  const sys_days day = std::chrono::floor<days>(time);
  const year_month_day date{day};
  const std::chrono::hh_mm_ss clock{time - day};
  std::string text{kDayNames[std::chrono::weekday{day}.c_encoding()]};
  text.append(", ").append(Digits<2>(static_cast<unsigned>(date.day())));
  text.append(" ").append(kMonthNames[static_cast<unsigned>(date.month()) - 1]);
  text.append(" ").append(Digits<4>(static_cast<unsigned>(static_cast<int>(date.year()))));
  text.append(" ").append(Digits<2>(static_cast<unsigned>(clock.hours().count())));
  text.append(":").append(Digits<2>(static_cast<unsigned>(clock.minutes().count())));
  text.append(":").append(Digits<2>(static_cast<unsigned>(clock.seconds().count())));
  return text.append(" GMT");
}

std::optional<sys_seconds> ParseHttpDate(std::string_view text) noexcept {
  DateReader reader{text};
  const unsigned weekday = reader.Name(kDayNames);
  reader.Skip(", ");
  const int day = reader.Number(2);
  reader.Skip(" ");
  const unsigned month = reader.Name(kMonthNames) + 1;
  reader.Skip(" ");
  const int year = reader.Number(4);
  reader.Skip(" ");
  const int hour = reader.Number(2);
  reader.Skip(":");
  const int minute = reader.Number(2);
  reader.Skip(":");
  const int second = reader.Number(2);
  reader.Skip(" GMT");
  // A second of 60 is a leap second.
  if (!reader.Ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
  const year_month_day date{std::chrono::year{year}, std::chrono::month{month},
                            std::chrono::day{static_cast<unsigned>(day)}};
  if (!date.ok() || std::chrono::weekday{sys_days{date}}.c_encoding() != weekday) return std::nullopt;
  return sys_days{date} + std::chrono::hours{hour} + std::chrono::minutes{minute} +
         std::chrono::seconds{second};
}

}  // namespace Kuv::Signing
