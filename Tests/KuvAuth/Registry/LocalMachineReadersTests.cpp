#include <type_traits>

#include <gtest/gtest.h>

#include "KuvAuth/Registry/LocalMachineRegistry.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using KuvTest::LogLines;
using KuvTest::TestKey;
using Bytes = std::vector<std::uint8_t>;

constexpr wchar_t kPath[] = L"Software\\KuvTest\\Readers";

// What a reader hands to the platform's query.
struct QueryPreset {
  std::wstring name;
  DWORD type;
  DWORD size;

  bool operator==(const QueryPreset&) const = default;
};

class RegReadLocalMachine : public KuvTest::KuvFixture {
 protected:
  // Answers every query with this status, type and size after noting what it was asked.
  void AnswerQueries(KuvTest::ImportHook<decltype(&::RegQueryValueExW)>& hook, LSTATUS status, DWORD type,
                     DWORD size) {
    hook.Answer([=, this](HKEY, const wchar_t* name, DWORD*, DWORD* queryType, BYTE*, DWORD* querySize) {
      presets.push_back({name, *queryType, *querySize});
      *queryType = type;
      *querySize = size;
      return status;
    });
  }

  TestKey key{HKEY_LOCAL_MACHINE, kPath};
  std::vector<QueryPreset> presets;
};

TEST_F(RegReadLocalMachine, NullKeyNameGivesTheDefaultInSilence) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  EXPECT_EQ(RegReadLocalMachineBinary(nullptr, L"v", Bytes{1, 2}), (Bytes{1, 2}));
  EXPECT_TRUE(RegReadLocalMachineDword(nullptr, L"v", true));
  EXPECT_FALSE(RegReadLocalMachineDword(nullptr, L"v", false));
  EXPECT_EQ(RegReadLocalMachineDword(nullptr, L"v", 7u), 7u);
  EXPECT_EQ(RegReadLocalMachineQword(nullptr, L"v", std::uint64_t{8}), 8u);
  EXPECT_EQ(RegReadLocalMachineString(nullptr, L"v", L"d"), L"d");
  EXPECT_EQ(log.Lines(), LogLines{});
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(RegReadLocalMachine, NullValueNameReadsTheDefaultValue) {
  key.SetDword(L"", 12);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, nullptr, 7u), 12u);
}

TEST_F(RegReadLocalMachine, OpensForReadingAndClosesBeforeItLogs) {
  key.SetDword(L"v", 1);
  HKEY opened = nullptr;
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  open.Answer([&](HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* result) {
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_STREQ(path, L"Software\\KuvTest\\Readers");
    EXPECT_EQ(options, 0u);
    EXPECT_EQ(access, 0x20019u);
    const LSTATUS status = open.Original(root, path, options, access, result);
    opened = *result;
    return status;
  });
  KUV_IMPORT_HOOK(close, RegCloseKey);
  close.Answer([&](HKEY closed) {
    EXPECT_EQ(closed, opened);
    EXPECT_EQ(log.Lines(), LogLines{});
    return close.Original(closed);
  });
  static_cast<void>(RegReadLocalMachineDword(kPath, L"v", 0u));
  log.Clear();
  static_cast<void>(RegReadLocalMachineQword(kPath, L"v", std::uint64_t{0}));
  log.Clear();
  static_cast<void>(RegReadLocalMachineString(kPath, L"v", L""));
  log.Clear();
  static_cast<void>(RegReadLocalMachineBinary(kPath, L"v", {}));
  EXPECT_EQ(open.CallCount(), 4u);
  EXPECT_EQ(close.CallCount(), 4u);
}

TEST_F(RegReadLocalMachine, PresetsTypeAndSizeOfEachQuery) {
  key.Create();
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  AnswerQueries(query, ERROR_FILE_NOT_FOUND, REG_NONE, 0);
  static_cast<void>(RegReadLocalMachineBinary(kPath, L"b", {}));
  static_cast<void>(RegReadLocalMachineDword(kPath, L"f", false));
  static_cast<void>(RegReadLocalMachineDword(kPath, L"d", 0u));
  static_cast<void>(RegReadLocalMachineQword(kPath, L"q", std::uint64_t{0}));
  static_cast<void>(RegReadLocalMachineString(kPath, L"s", L""));
  EXPECT_EQ(presets, (std::vector<QueryPreset>{
                         {L"b", 3, 32768}, {L"f", 1, 4}, {L"d", 1, 4}, {L"q", 1, 8}, {L"s", 1, 2080}}));
}

TEST_F(RegReadLocalMachine, FailedQueryGivesTheDefaultWhateverItsType) {
  key.Create();
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  AnswerQueries(query, ERROR_MORE_DATA, REG_DWORD, 4);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"v", 7u), 7u);
  AnswerQueries(query, ERROR_MORE_DATA, REG_QWORD, 8);
  EXPECT_EQ(RegReadLocalMachineQword(kPath, L"v", std::uint64_t{8}), 8u);
  AnswerQueries(query, ERROR_MORE_DATA, REG_SZ, 4000);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"v", L"d"), L"d");
  AnswerQueries(query, ERROR_MORE_DATA, REG_BINARY, 40000);
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"v", Bytes{9}), Bytes{9});
}

TEST_F(RegReadLocalMachine, BinaryGivesTheBytesAndLogsThatTheyWereFound) {
  key.SetBytes(L"value", REG_BINARY, "\1\0\2", 3);
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", Bytes{9}), (Bytes{1, 0, 2}));
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineBinary found value for key value"}}));
}

TEST_F(RegReadLocalMachine, BinaryOfMissingKeyGivesNothingAndNotTheDefault) {
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", (Bytes{1, 2})), Bytes{});
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(RegReadLocalMachine, BinaryOfMissingValueGivesTheDefaultInSilence) {
  key.Create();
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", (Bytes{1, 2})), (Bytes{1, 2}));
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(RegReadLocalMachine, BinaryOfAnotherTypeGivesTheDefaultInSilence) {
  key.SetDword(L"value", 5);
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", (Bytes{1, 2})), (Bytes{1, 2}));
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(RegReadLocalMachine, BinaryTakes32768BytesAndNoMore) {
  const Bytes longest(32768, 0xA5);
  key.SetBytes(L"value", REG_BINARY, longest.data(), longest.size());
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", {}), longest);
  const Bytes tooLong(32769, 0xA5);
  key.SetBytes(L"value", REG_BINARY, tooLong.data(), tooLong.size());
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", Bytes{1}), Bytes{1});
}

TEST_F(RegReadLocalMachine, BinaryOfNoBytesIsFoundAndEmpty) {
  key.SetBytes(L"value", REG_BINARY, "", 0);
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", Bytes{1}), Bytes{});
  EXPECT_EQ(log.Lines().size(), 1u);
}

TEST_F(RegReadLocalMachine, DwordGivesTheNumberAndLogsIt) {
  key.SetDword(L"value", 4294967295u);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"value", 7u), 4294967295u);
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineDword found -1 value for key value"}}));
}

TEST_F(RegReadLocalMachine, DwordOfMissingKeyGivesTheDefaultAndLogsIt) {
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"value", 7u), 7u);
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineDword found 7 value for key value"}}));
}

TEST_F(RegReadLocalMachine, DwordOfMissingValueOrAnotherTypeGivesTheDefaultAndLogsIt) {
  key.SetBytes(L"other", REG_BINARY, "\1\0\0\0", 4);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"value", 7u), 7u);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"other", 8u), 8u);
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineDword found 7 value for key value"},
                      {LogLevel::Debug, "RegReadLocalMachineDword found 8 value for key other"}}));
}

// As callers of the platform have them at hand.
TEST_F(RegReadLocalMachine, DwordTakesADefaultOfAnySmallNumberType) {
  key.SetDword(L"value", 2);
  const auto found = RegReadLocalMachineDword(kPath, L"value", DWORD{7});
  static_assert(std::is_same_v<decltype(found), const std::uint32_t>);
  EXPECT_EQ(found, 2u);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"missing", DWORD{7}), 7u);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"missing", 8), 8u);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"missing", -1), 0xFFFFFFFFu);
  static_assert(std::is_same_v<decltype(RegReadLocalMachineDword(kPath, L"value", true)), bool>);
}

TEST_F(RegReadLocalMachine, FlagIsTrueForAnyNumberButZero) {
  key.SetDword(L"two", 2);
  key.SetDword(L"zero", 0);
  EXPECT_TRUE(RegReadLocalMachineDword(kPath, L"two", false));
  EXPECT_FALSE(RegReadLocalMachineDword(kPath, L"zero", true));
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineDword found 2 value for key two"},
                      {LogLevel::Debug, "RegReadLocalMachineDword found 0 value for key zero"}}));
}

TEST_F(RegReadLocalMachine, FlagOfMissingValueIsTheDefaultAndLogsItsNumber) {
  EXPECT_TRUE(RegReadLocalMachineDword(kPath, L"value", true));
  EXPECT_FALSE(RegReadLocalMachineDword(kPath, L"value", false));
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineDword found 1 value for key value"},
                      {LogLevel::Debug, "RegReadLocalMachineDword found 0 value for key value"}}));
}

TEST_F(RegReadLocalMachine, QwordGivesAllBitsAndLogsTheLowHalf) {
  const std::uint64_t number = 0x1122334400000005;
  key.SetBytes(L"value", REG_QWORD, &number, sizeof(number));
  EXPECT_EQ(RegReadLocalMachineQword(kPath, L"value", std::uint64_t{1}), number);
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineQword found 5 value for key value"}}));
}

TEST_F(RegReadLocalMachine, QwordOfMissingKeyValueOrAnotherTypeGivesTheDefaultAndLogsIt) {
  EXPECT_EQ(RegReadLocalMachineQword(kPath, L"value", std::uint64_t{0x900000001}), 0x900000001u);
  key.SetDword(L"other", 3);
  EXPECT_EQ(RegReadLocalMachineQword(kPath, L"value", std::uint64_t{2}), 2u);
  EXPECT_EQ(RegReadLocalMachineQword(kPath, L"other", std::uint64_t{4}), 4u);
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineQword found 1 value for key value"},
                      {LogLevel::Debug, "RegReadLocalMachineQword found 2 value for key value"},
                      {LogLevel::Debug, "RegReadLocalMachineQword found 4 value for key other"}}));
}

TEST_F(RegReadLocalMachine, StringGivesTheTextAndLogsIt) {
  key.SetText(L"value", L"some text");
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"d"), L"some text");
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineString found some text value for key value"}}));
}

TEST_F(RegReadLocalMachine, StringOfMissingKeyValueOrAnotherTypeGivesTheDefaultAndLogsIt) {
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"one"), L"one");
  key.SetBytes(L"other", REG_EXPAND_SZ, L"x", 4);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"two"), L"two");
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"other", L"three"), L"three");
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Debug, "RegReadLocalMachineString found one value for key value"},
                      {LogLevel::Debug, "RegReadLocalMachineString found two value for key value"},
                      {LogLevel::Debug, "RegReadLocalMachineString found three value for key other"}}));
}

TEST_F(RegReadLocalMachine, StringOf1039CharactersIsReadAndOf1040IsNot) {
  const std::wstring longest(1039, L'x');
  key.SetText(L"value", longest);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"d"), longest);
  key.SetText(L"value", longest + L"x");
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"d"), L"d");
}

TEST_F(RegReadLocalMachine, StringEndsAtItsFirstNul) {
  key.SetBytes(L"value", REG_SZ, L"ab\0cd", 12);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"d"), L"ab");
}

TEST_F(RegReadLocalMachine, StringWithoutTerminatorIsTakenAsFarAsItGoes) {
  const std::wstring text(1040, L'x');
  // The platform counts a NUL that stands right behind the data, so another unit stands there.
  key.SetBytes(L"value", REG_SZ, (text + L"y").data(), 2080);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"d"), text);
}

}  // namespace
