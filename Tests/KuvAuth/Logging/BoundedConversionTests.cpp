#include <windows.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/LogHandlers.h"
#include "KuvAuth/Logging/LogLine.h"
#include "Support/GuardedBuffer.h"
#include "Support/ImportHook.h"

namespace {

using KuvTest::GuardedBuffer;

constexpr std::size_t kZeros = 8192;

// Both references perform the conversion step by step on a text followed by zeros, as in a line buffer.

int Convert(wchar_t* destination, int capacity, const std::string& text) {
  std::vector<char> source(text.begin(), text.end());
  source.resize(text.size() + kZeros);
  const int needed = ::MultiByteToWideChar(CP_UTF8, 0, source.data(), -1, nullptr, 0);
  const int n = std::min(capacity, needed);
  const int converted = ::MultiByteToWideChar(CP_UTF8, 0, source.data(), n, destination, n);
  if (converted > 0) destination[converted - 1] = L'\0';
  return converted;
}

int Convert(char* destination, int capacity, const std::wstring& text) {
  std::vector<wchar_t> source(text.begin(), text.end());
  source.resize(text.size() + kZeros);
  const int needed = ::WideCharToMultiByte(CP_UTF8, 0, source.data(), -1, nullptr, 0, nullptr, nullptr);
  const int n = std::min(capacity, needed);
  const int converted = ::WideCharToMultiByte(CP_UTF8, 0, source.data(), n, destination, n, nullptr, nullptr);
  if (converted > 0) destination[converted - 1] = '\0';
  return converted;
}

int Run(wchar_t* destination, int capacity, const char* text) {
  return Utf8ToWideBuffer(destination, capacity, text);
}

int Run(char* destination, int capacity, const wchar_t* text) {
  return WideToUtf8Buffer(destination, capacity, text);
}

// Source and destination both end at unreadable memory.
template <typename To, typename From>
class Comparison {
 public:
  void Check(int capacity, const std::basic_string<From>& text) {
    std::vector<To> expected(static_cast<std::size_t>(capacity), To{'#'});
    const int expectedResult = Convert(expected.data(), capacity, text);

    const From* const source = Place(source_, text.c_str(), text.size() + 1);
    const std::vector<To> fill(static_cast<std::size_t>(capacity), To{'#'});
    To* const destination = Place(destination_, fill.data(), fill.size());
    const int result = Run(destination, capacity, source);

    ASSERT_EQ(result, expectedResult) << Describe(capacity, text);
    const auto units = static_cast<std::size_t>(result);
    ASSERT_TRUE(std::equal(destination, destination + units, expected.begin())) << Describe(capacity, text);
    if (result > 0) ++converted;
    if (result == 0) ++rejected;
  }

  int converted = 0;
  int rejected = 0;

 private:
  static constexpr std::size_t kGuarded = 16384;

  template <typename Unit>
  static Unit* Place(const GuardedBuffer<Unit>& buffer, const Unit* units, std::size_t count) {
    if (count > kGuarded) throw std::length_error{"the text is longer than the guarded buffer"};
    Unit* const start = buffer.Get() + kGuarded - count;
    std::memcpy(start, units, count * sizeof(Unit));
    return start;
  }

  static std::string Describe(int capacity, const std::basic_string<From>& text) {
    std::string description = "capacity " + std::to_string(capacity) + ", text";
    for (const From unit : text) {
      description += " " + std::to_string(static_cast<std::make_unsigned_t<From>>(unit));
    }
    return description;
  }

  GuardedBuffer<From> source_{kGuarded};
  GuardedBuffer<To> destination_{kGuarded};
};

using Utf8ToWideComparison = Comparison<wchar_t, char>;
using WideToUtf8Comparison = Comparison<char, wchar_t>;

const std::vector<std::string>& Utf8Pieces() {
  static const std::vector<std::string> pieces{
      "a",
      "\xC3\xA9",          // two bytes
      "\xE2\x82\xAC",      // three
      "\xF0\x9F\x98\x80",  // four: a surrogate pair
      "\xC3",              // cut sequences
      "\xE2\x82",
      "\xF0\x9F\x98",
      "\x80",              // a continuation without a start
      "\xFF",              // never valid
      "\xC0\x80",          // overlong
      "\xED\xA0\x80",      // a surrogate
      "\xF4\x90\x80\x80",  // above the last character
  };
  return pieces;
}

const std::vector<std::wstring>& WidePieces() {
  static const std::vector<std::wstring> pieces{
      L"a",      L"\x7F",   L"\x80",         L"\xE9",   L"\x7FF", L"\x800", L"\x20AC", L"\xD83D\xDE00",
      L"\xD83D", L"\xDE00", L"\xDE00\xD83D", L"\xFEFF", L"\xFFFF"};
  return pieces;
}

// Every piece at every position around the limit, with short and long texts before and after it.
template <typename Check, typename Text>
void CheckPiecesAroundTheLimit(Check& check, const std::vector<Text>& pieces) {
  using Unit = typename Text::value_type;
  for (const int capacity : {1, 2, 3, 4, 5, 7, 8, 16, 33}) {
    const auto bound = static_cast<std::size_t>(capacity);
    for (const Text& piece : pieces) {
      for (std::size_t before = 0; before <= bound + 2; ++before) {
        for (const std::size_t behind :
             {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{5}, 2 * bound}) {
          check.Check(capacity, Text(before, Unit{'b'}) + piece + Text(behind, Unit{'e'}));
          if (::testing::Test::HasFatalFailure()) return;
        }
      }
    }
  }
}

template <typename Check, typename Text>
void CheckRandomTexts(Check& check, const std::vector<Text>& pieces) {
  std::mt19937 random{20250602};
  for (int round = 0; round < 20000; ++round) {
    Text text;
    for (auto count = random() % 24; count > 0; --count) {
      text += random() % 2 == 0 ? pieces[0] : pieces[random() % pieces.size()];
    }
    check.Check(1 + static_cast<int>(random() % 40), text);
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(Utf8ToWideBuffer, MatchesTheReferenceAroundTheLimit) {
  Utf8ToWideComparison comparison;
  CheckPiecesAroundTheLimit(comparison, Utf8Pieces());
  EXPECT_GT(comparison.converted, 5000);
  EXPECT_EQ(comparison.rejected, 0);
}

TEST(Utf8ToWideBuffer, MatchesTheReferenceOnRandomTexts) {
  Utf8ToWideComparison comparison;
  CheckRandomTexts(comparison, Utf8Pieces());
  EXPECT_EQ(comparison.converted, 20000);
}

TEST(Utf8ToWideBuffer, MatchesTheReferenceAtTheLengthOfALine) {
  Utf8ToWideComparison comparison;
  for (const int capacity : {2018, 2019, 2046}) {
    for (const std::size_t length : {2017u, 2018u, 2019u, 2045u, 2046u, 2047u, 5000u}) {
      comparison.Check(capacity, std::string(length, 'x'));
      for (const std::string& piece : Utf8Pieces()) {
        comparison.Check(capacity, piece + std::string(length, 'x'));
        comparison.Check(capacity, std::string(length, 'x') + piece);
        comparison.Check(capacity, std::string(length, 'x') + piece + std::string(length, 'y'));
      }
      ASSERT_FALSE(HasFatalFailure());
    }
  }
}

TEST(WideToUtf8Buffer, MatchesTheReferenceAroundTheLimit) {
  WideToUtf8Comparison comparison;
  CheckPiecesAroundTheLimit(comparison, WidePieces());
  EXPECT_GT(comparison.converted, 1000);
  EXPECT_GT(comparison.rejected, 1000);
}

TEST(WideToUtf8Buffer, MatchesTheReferenceOnRandomTexts) {
  WideToUtf8Comparison comparison;
  CheckRandomTexts(comparison, WidePieces());
  EXPECT_GT(comparison.converted, 1000);
  EXPECT_GT(comparison.rejected, 1000);
}

TEST(WideToUtf8Buffer, MatchesTheReferenceAtTheSizeOfTheScratchBuffer) {
  WideToUtf8Comparison comparison;
  for (const std::size_t length : {1365u, 2047u, 4093u, 4094u, 4095u, 4096u, 4097u, 6000u}) {
    const std::wstring text(length, L'x');
    comparison.Check(4096, text);
    for (const std::wstring& piece : WidePieces()) {
      comparison.Check(4096, piece + text);
      comparison.Check(4096, text + piece);
      comparison.Check(4096, text.substr(0, 4094) + piece + text);
      comparison.Check(4096, text.substr(0, 4095) + piece + text.substr(0, 4000));
    }
    ASSERT_FALSE(HasFatalFailure());
  }
}

// Converts with this capacity and compares the result and the text.
template <typename To, typename From>
void ExpectConverted(int capacity, const From* text, int expected, const To* expectedText) {
  SCOPED_TRACE(::testing::Message() << ::testing::PrintToString(text) << " into " << capacity);
  To buffer[64];
  std::fill(std::begin(buffer), std::end(buffer), To{'#'});
  EXPECT_EQ(Run(buffer, capacity, text), expected);
  EXPECT_STREQ(buffer, expectedText);
}

// Rejects a null or zero argument and does not touch the destination.
template <typename To, typename From>
void ExpectRejectsNullAndZero(const From* text) {
  To buffer[2] = {To{'#'}, To{'#'}};
  EXPECT_EQ(Run(static_cast<To*>(nullptr), 2, text), 0);
  EXPECT_EQ(Run(buffer, 0, text), 0);
  EXPECT_EQ(Run(buffer, -1, text), 0);
  EXPECT_EQ(Run(buffer, 2, static_cast<const From*>(nullptr)), 0);
  EXPECT_EQ(buffer[0], To{'#'});
}

TEST(Utf8ToWideBuffer, TruncatesAsciiAndCountsItsTerminator) {
  ExpectConverted(8, "abc", 4, L"abc");
  ExpectConverted(4, "abc", 4, L"abc");
  ExpectConverted(4, "abcd", 4, L"abc");
  ExpectConverted(1, "abcd", 1, L"");
}

TEST(Utf8ToWideBuffer, LosesTheTailOfATextWithLongerSequences) {
  ExpectConverted(16, "\xC3\xA9", 1, L"");
  // Six units are needed, so six bytes are read, "caf", two for one unit, and "s", the last.
  ExpectConverted(16, "caf\xC3\xA9s", 5, L"caf\xE9");
}

TEST(Utf8ToWideBuffer, ReturnsAnEmptyTextIfThePlatformFails) {
  KUV_IMPORT_HOOK(convert, MultiByteToWideChar);
  convert.Answer([](UINT, DWORD, const char*, int, wchar_t*, int) { return 0; });
  wchar_t buffer[16] = L"earlier";
  EXPECT_EQ(Utf8ToWideBuffer(buffer, 16, "na\xC3\xAFve"), 0);
  EXPECT_EQ(std::wstring(buffer, 16), std::wstring(16, L'\0'));
}

TEST(WideToUtf8Buffer, TruncatesAsciiAndCountsItsTerminator) {
  ExpectConverted(8, L"abc", 4, "abc");
  ExpectConverted(4, L"abc", 4, "abc");
  ExpectConverted(4, L"abcd", 4, "abc");
}

TEST(WideToUtf8Buffer, FailsForATextWithAnyOtherCharacter) {
  char buffer[64];
  for (const wchar_t* const text : {L"\xE9", L"caf\xE9 au lait", L"\xD83D\xDE00", L"\xD83D"}) {
    EXPECT_EQ(WideToUtf8Buffer(buffer, 64, text), 0) << ::testing::PrintToString(text);
  }
}

TEST(BoundedConversion, RejectsNullAndZero) {
  ExpectRejectsNullAndZero<wchar_t>("a");
  ExpectRejectsNullAndZero<char>(L"a");
}

}  // namespace
