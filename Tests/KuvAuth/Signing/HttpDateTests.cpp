#include "KuvAuth/Signing/HttpDate.h"

#include <gtest/gtest.h>

namespace {

using Kuv::Signing::FormatHttpDate;
using Kuv::Signing::ParseHttpDate;
using Kuv::Signing::Reason;
using std::chrono::seconds;
using std::chrono::sys_seconds;

constexpr sys_seconds At(long long count) {
  return sys_seconds{seconds{count}};
}

// Python: email.utils.formatdate(seconds, usegmt=True); the limits by datetime.
TEST(HttpDate, ConvertsBothWays) {
  const struct {
    long long count;
    const char* text;
  } rows[] = {
      {784111777, "Sun, 06 Nov 1994 08:49:37 GMT"},    {0, "Thu, 01 Jan 1970 00:00:00 GMT"},
      {-1, "Wed, 31 Dec 1969 23:59:59 GMT"},           {951782400, "Tue, 29 Feb 2000 00:00:00 GMT"},
      {1793698200, "Tue, 03 Nov 2026 09:30:00 GMT"},   {253402300799, "Fri, 31 Dec 9999 23:59:59 GMT"},
      {-62135596800, "Mon, 01 Jan 0001 00:00:00 GMT"}, {-62167219200, "Sat, 01 Jan 0000 00:00:00 GMT"},
      {1804561575, "Tue, 09 Mar 2027 03:06:15 GMT"},   {1807502900, "Mon, 12 Apr 2027 04:08:20 GMT"},
      {1810357825, "Sat, 15 May 2027 05:10:25 GMT"},   {1813299150, "Fri, 18 Jun 2027 06:12:30 GMT"},
      {1816154075, "Wed, 21 Jul 2027 07:14:35 GMT"},   {1819095400, "Tue, 24 Aug 2027 08:16:40 GMT"},
      {1822036725, "Mon, 27 Sep 2027 09:18:45 GMT"},   {1824891650, "Sat, 30 Oct 2027 10:20:50 GMT"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FormatHttpDate(At(row.count)).Value(), row.text);
    EXPECT_EQ(ParseHttpDate(row.text), At(row.count)) << row.text;
  }
}

TEST(HttpDate, HasFourDigitsForTheYear) {
  for (const sys_seconds time :
       {At(253402300800), At(-62167219201), sys_seconds::min(), sys_seconds::max()}) {
    EXPECT_EQ(FormatHttpDate(time).GetFailure().reason, Reason::OutOfRange);
    EXPECT_EQ(FormatHttpDate(time).GetFailure().field, "date");
  }
}

TEST(HttpDate, ParsesALeapSecondAsTheNextMinute) {
  EXPECT_EQ(ParseHttpDate("Sat, 31 Dec 2016 23:59:60 GMT"), ParseHttpDate("Sun, 01 Jan 2017 00:00:00 GMT"));
}

TEST(HttpDate, ParsesNoOtherForm) {
  for (const char* const text : {
           "",
           "Sun, 06 Nov 1994 08:49:37 GM",
           "Sun, 06 Nov 1994 08:49:37 GMT ",
           " Sun, 06 Nov 1994 08:49:37 GMT",
           "Sunday, 06-Nov-94 08:49:37 GMT",
           "Sun Nov  6 08:49:37 1994",
           "Mon, 06 Nov 1994 08:49:37 GMT",
           "sun, 06 Nov 1994 08:49:37 GMT",
           "Sun, 06 nov 1994 08:49:37 GMT",
           "Sun, 06 Nov 1994 08:49:37 gmt",
           "Sun, 06 Nov 1994 08:49:37 UTC",
           "Sun, 06 Nov 1994 08:49:37 +00",
           "Sun,  6 Nov 1994 08:49:37 GMT",
           "Sun,+06 Nov 1994 08:49:37 GMT",
           "Sun, 6 Nov 1994 08:49:37 GMT",
           "Sun; 06 Nov 1994 08:49:37 GMT",
           "Sun, 06-Nov-1994 08:49:37 GMT",
           "Sun, 06 Nov 1994 08-49-37 GMT",
           "Sun, 06 Nov +994 08:49:37 GMT",
           "Sun, 06 Nov 1994 24:49:37 GMT",
           "Sun, 06 Nov 1994 08:60:37 GMT",
           "Sun, 06 Nov 1994 08:49:61 GMT",
           "Sun, 00 Nov 1994 08:49:37 GMT",
           "Wed, 31 Nov 1994 08:49:37 GMT",
           "Wed, 29 Feb 1995 08:49:37 GMT",
           "Sun, 06 Xyz 1994 08:49:37 GMT",
       }) {
    EXPECT_EQ(ParseHttpDate(text), std::nullopt) << text;
  }
}

// The last day that exists in a month, with the right day of the week, is the control for the rows above.
TEST(HttpDate, ParsesTheLastDayOfAMonth) {
  EXPECT_TRUE(ParseHttpDate("Wed, 30 Nov 1994 08:49:37 GMT"));
  EXPECT_TRUE(ParseHttpDate("Tue, 28 Feb 1995 08:49:37 GMT"));
}

}  // namespace
