#include <algorithm>
#include <string>
#include <tuple>
#include <type_traits>

#include <gtest/gtest.h>

#include "KuvAuth/Support/Text.h"
#include "Support/GuardedBuffer.h"
#include "Support/ImportHook.h"

namespace {

using namespace std::string_literals;
using KuvTest::GuardedBuffer;

// Text of one to four bytes a character: "a", U+00E4, U+20AC and U+1F511.
constexpr char kNarrow[] = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x91";
constexpr wchar_t kWide[] = L"a\x00E4\x20AC\xD83D\xDD11";

// One direction of the conversion.
struct ToWide {
  using From = char;
  using To = wchar_t;
  using Hook = KuvTest::ImportHook<decltype(&::MultiByteToWideChar)>;
  static constexpr const char* kName = "MultiByteToWideChar";
  static std::wstring Convert(const auto& text) { return Utf8ToWide(text); }
};
struct ToUtf8 {
  using From = wchar_t;
  using To = char;
  using Hook = KuvTest::ImportHook<decltype(&::WideCharToMultiByte)>;
  static constexpr const char* kName = "WideCharToMultiByte";
  static std::string Convert(const auto& text) { return WideToUtf8(text); }
};

template <typename Direction>
class TextConversion : public ::testing::Test {
 protected:
  using From = std::basic_string<typename Direction::From>;
  using To = std::basic_string<typename Direction::To>;

  static From Input(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }
  static To Output(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }
};

struct DirectionNames {
  template <typename Direction>
  static std::string GetName(int) {
    return std::is_same_v<Direction, ToWide> ? "Utf8ToWide" : "WideToUtf8";
  }
};
using Directions = ::testing::Types<ToWide, ToUtf8>;
TYPED_TEST_SUITE(TextConversion, Directions, DirectionNames);

TEST(Utf8ToWide, ConvertsAPointerAndAStringAndReplacesInvalidSequences) {
  EXPECT_EQ(Utf8ToWide(kNarrow), kWide);
  EXPECT_EQ(Utf8ToWide(std::string{kNarrow}), kWide);
  EXPECT_EQ(Utf8ToWide("a\xFFz"), L"a\xFFFDz");
  EXPECT_EQ(Utf8ToWide("a\xC3"), L"a\xFFFD");
}

TEST(WideToUtf8, ConvertsAPointerAndAStringAndReplacesALoneSurrogate) {
  EXPECT_EQ(WideToUtf8(kWide), kNarrow);
  EXPECT_EQ(WideToUtf8(std::wstring{kWide}), kNarrow);
  const std::wstring text{L'a', static_cast<wchar_t>(0xD800), L'z'};
  EXPECT_EQ(WideToUtf8(text), "a\xEF\xBF\xBDz");
}

TYPED_TEST(TextConversion, ReturnsAnEmptyStringForNullAndEmptyText) {
  const auto empty = this->Input("");
  EXPECT_EQ(TypeParam::Convert(static_cast<const typename TypeParam::From*>(nullptr)), this->Output(""));
  EXPECT_EQ(TypeParam::Convert(empty.c_str()), this->Output(""));
  EXPECT_EQ(TypeParam::Convert(empty), this->Output(""));
}

TYPED_TEST(TextConversion, EndsAtTheFirstNulAndHasNoOtherLimit) {
  EXPECT_EQ(TypeParam::Convert(this->Input("ab\0cd"s)), this->Output("ab"));
  EXPECT_EQ(TypeParam::Convert(this->Input("\0cd"s)), this->Output(""));
  const std::string longText(100'000, 'x');
  EXPECT_EQ(TypeParam::Convert(this->Input(longText)), this->Output(longText));
}

TYPED_TEST(TextConversion, ReadsNothingAfterTheNul) {
  const auto text = this->Input("abc");
  const auto guarded = GuardedBuffer<typename TypeParam::From>::Text(text.c_str(), 3);
  EXPECT_EQ(TypeParam::Convert(static_cast<const typename TypeParam::From*>(guarded.Get())),
            this->Output("abc"));
}

TYPED_TEST(TextConversion, QueriesTheLengthAndThenConverts) {
  const auto text = this->Input("abc");
  typename TypeParam::Hook convert{TypeParam::kName};
  EXPECT_EQ(TypeParam::Convert(text.c_str()), this->Output("abc"));
  ASSERT_EQ(convert.CallCount(), 2u);
  for (const std::size_t call : {0u, 1u}) {
    SCOPED_TRACE(call);
    const auto& arguments = convert.Calls()[call];
    EXPECT_EQ(std::get<0>(arguments), 65001u);
    EXPECT_EQ(std::get<1>(arguments), 0u);
    EXPECT_EQ(std::get<2>(arguments), text.c_str());
    EXPECT_EQ(std::get<3>(arguments), -1);
    EXPECT_EQ(std::get<4>(arguments) == nullptr, call == 0);
    EXPECT_EQ(std::get<5>(arguments), call == 0 ? 0 : 4);
    if constexpr (std::is_same_v<TypeParam, ToUtf8>) {
      EXPECT_EQ(std::get<6>(arguments), nullptr);
      EXPECT_EQ(std::get<7>(arguments), nullptr);
    }
  }
}

TYPED_TEST(TextConversion, ReturnsAnEmptyStringIfTheLengthIsNotPositive) {
  for (const int needed : {0, -1}) {
    SCOPED_TRACE(needed);
    typename TypeParam::Hook convert{TypeParam::kName};
    convert.Script({[=](auto...) { return needed; }});
    EXPECT_EQ(TypeParam::Convert(this->Input("abc")), this->Output(""));
  }
}

TYPED_TEST(TextConversion, ReturnsZerosIfTheConversionFailsAfterItsLengthIsKnown) {
  typename TypeParam::Hook convert{TypeParam::kName};
  convert.AnswerCall(2, [](auto...) { return 0; });
  EXPECT_EQ(TypeParam::Convert(this->Input("abc")), this->Output(std::string(4, '\0')));
}

TYPED_TEST(TextConversion, TruncatesTheStringToTheConvertedLength) {
  typename TypeParam::Hook convert{TypeParam::kName};
  convert.AnswerCall(2, [](auto... arguments) {
    std::copy_n("xy", 3, std::get<4>(std::make_tuple(arguments...)));
    return 3;
  });
  EXPECT_EQ(TypeParam::Convert(this->Input("abcdef")), this->Output("xy"));
}

TYPED_TEST(TextConversion, ReturnsAnEmptyStringIfOnlyTheNulIsConverted) {
  typename TypeParam::Hook convert{TypeParam::kName};
  convert.AnswerCall(2, [](auto...) { return 1; });
  EXPECT_EQ(TypeParam::Convert(this->Input("abc")), this->Output(""));
}

}  // namespace
