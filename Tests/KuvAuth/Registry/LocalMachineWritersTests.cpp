#include <functional>

#include <gtest/gtest.h>

#include "KuvAuth/Registry/LocalMachineRegistry.h"
#include "KuvAuth/Support/SystemError.h"
#include "KuvAuth/Support/Text.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using KuvTest::LogLine;
using KuvTest::LogLines;
using KuvTest::TestKey;
using Bytes = std::vector<std::uint8_t>;

constexpr wchar_t kPath[] = L"Software\\KuvTest\\Writers";

// Each writer with a value, what it says at `Debug` and its name.
struct Writer {
  const char* name;
  std::function<bool(const wchar_t* subKey, const wchar_t* name)> write;
  const char* wrote;
};

const Writer kWriters[] = {
    {"RegWriteLocalMachineBinary",
     [](const wchar_t* subKey, const wchar_t* name) {
       return RegWriteLocalMachineBinary(subKey, name, Bytes{1, 2, 3});
     },
     "RegWriteLocalMachineBinary wrote value for key v"},
    {"RegWriteLocalMachineDword",
     [](const wchar_t* subKey, const wchar_t* name) { return RegWriteLocalMachineDword(subKey, name, true); },
     "RegWriteLocalMachineDword wrote 1 value for key v"},
    {"RegWriteLocalMachineDword",
     [](const wchar_t* subKey, const wchar_t* name) { return RegWriteLocalMachineDword(subKey, name, 77u); },
     "RegWriteLocalMachineDword wrote 77 value for key v"},
    {"RegWriteLocalMachineQword",
     [](const wchar_t* subKey, const wchar_t* name) {
       return RegWriteLocalMachineQword(subKey, name, std::uint64_t{0x700000006});
     },
     "RegWriteLocalMachineQword wrote 6 value for key v"},
    {"RegWriteLocalMachineString",
     [](const wchar_t* subKey, const wchar_t* name) {
       return RegWriteLocalMachineString(subKey, name, L"text");
     },
     "RegWriteLocalMachineString wrote text value for key v"},
};

class RegWriteLocalMachine : public KuvTest::KuvFixture {
 protected:
  // The value with its type in front.
  std::pair<DWORD, Bytes> Stored(const wchar_t* name) const {
    DWORD type = 0;
    Bytes data = key.GetBytes(name, type);
    return {type, data};
  }

  TestKey key{HKEY_LOCAL_MACHINE, kPath};
};

TEST_F(RegWriteLocalMachine, NullNamesAreRefusedInSilence) {
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  for (const Writer& writer : kWriters) {
    SCOPED_TRACE(writer.wrote);
    EXPECT_FALSE(writer.write(nullptr, L"v"));
    EXPECT_FALSE(writer.write(kPath, nullptr));
  }
  EXPECT_EQ(create.CallCount(), 0u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(RegWriteLocalMachine, SuccessIsTrueAndLogged) {
  for (const Writer& writer : kWriters) {
    SCOPED_TRACE(writer.wrote);
    log.Clear();
    EXPECT_TRUE(writer.write(kPath, L"v"));
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Debug, writer.wrote}}));
  }
}

TEST_F(RegWriteLocalMachine, BinaryWritesTheBytes) {
  EXPECT_TRUE(RegWriteLocalMachineBinary(kPath, L"v", Bytes{5, 0, 6}));
  EXPECT_EQ(Stored(L"v"), std::make_pair(DWORD{3}, Bytes{5, 0, 6}));
  EXPECT_TRUE(RegWriteLocalMachineBinary(kPath, L"empty", {}));
  EXPECT_EQ(Stored(L"empty"), std::make_pair(DWORD{3}, Bytes{}));
}

TEST_F(RegWriteLocalMachine, DwordWritesFlagAndNumberInFourBytes) {
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"true", true));
  EXPECT_EQ(Stored(L"true"), std::make_pair(DWORD{4}, Bytes{1, 0, 0, 0}));
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"false", false));
  EXPECT_EQ(Stored(L"false"), std::make_pair(DWORD{4}, Bytes{0, 0, 0, 0}));
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"number", 0x89ABCDEFu));
  EXPECT_EQ(Stored(L"number"), std::make_pair(DWORD{4}, Bytes{0xEF, 0xCD, 0xAB, 0x89}));
}

TEST_F(RegWriteLocalMachine, DwordTakesAnySmallNumberType) {
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"dword", DWORD{2}));
  EXPECT_EQ(Stored(L"dword"), std::make_pair(DWORD{4}, Bytes{2, 0, 0, 0}));
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"int", -2));
  EXPECT_EQ(Stored(L"int"), std::make_pair(DWORD{4}, Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
}

TEST_F(RegWriteLocalMachine, QwordWritesEightBytes) {
  EXPECT_TRUE(RegWriteLocalMachineQword(kPath, L"v", std::uint64_t{0x0123456789ABCDEF}));
  EXPECT_EQ(Stored(L"v"), std::make_pair(DWORD{11}, Bytes{0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}));
}

TEST_F(RegWriteLocalMachine, StringWritesItsNulToo) {
  EXPECT_TRUE(RegWriteLocalMachineString(kPath, L"v", L"ab"));
  EXPECT_EQ(Stored(L"v"), std::make_pair(DWORD{1}, Bytes{'a', 0, 'b', 0, 0, 0}));
  EXPECT_TRUE(RegWriteLocalMachineString(kPath, L"empty", L""));
  EXPECT_EQ(Stored(L"empty"), std::make_pair(DWORD{1}, Bytes{0, 0}));
}

TEST_F(RegWriteLocalMachine, CreatesTheKeyForWritingAndClosesIt) {
  HKEY created = nullptr;
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  create.Answer([&](HKEY root, const wchar_t* path, DWORD reserved, wchar_t* keyClass, DWORD options,
                    REGSAM access, const SECURITY_ATTRIBUTES* security, HKEY* result, DWORD* disposition) {
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_STREQ(path, L"Software\\KuvTest\\Writers");
    EXPECT_EQ(reserved, 0u);
    EXPECT_EQ(keyClass, nullptr);
    EXPECT_EQ(options, 0u);
    EXPECT_EQ(access, 0x20006u);
    EXPECT_EQ(security, nullptr);
    EXPECT_EQ(disposition, nullptr);
    const LSTATUS status = create.Original(root, path, reserved, keyClass, options, access,
                                           const_cast<SECURITY_ATTRIBUTES*>(security), result, disposition);
    created = *result;
    return status;
  });
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  for (const Writer& writer : kWriters) {
    SCOPED_TRACE(writer.wrote);
    EXPECT_TRUE(writer.write(kPath, L"v"));
    EXPECT_EQ(std::get<0>(set.Calls().back()), created);
    EXPECT_STREQ(std::get<1>(set.Calls().back()), L"v");
    EXPECT_EQ(std::get<2>(set.Calls().back()), 0u);
    EXPECT_EQ(std::get<0>(close.Calls().back()), created);
  }
  EXPECT_EQ(close.CallCount(), std::size(kWriters));
}

TEST_F(RegWriteLocalMachine, KeyThatCannotBeCreatedGivesFalseAndStillTheWroteLine) {
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  create.Answer([](auto&&...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  for (const Writer& writer : kWriters) {
    SCOPED_TRACE(writer.wrote);
    log.Clear();
    EXPECT_FALSE(writer.write(kPath, L"v"));
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Debug, writer.wrote}}));
  }
  EXPECT_EQ(set.CallCount(), 0u);
  EXPECT_EQ(close.CallCount(), 0u);
}

// The status is 8, the last error 5: the line tells the last error. The key is closed between the lines.
TEST_F(RegWriteLocalMachine, ValueThatCannotBeWrittenIsLoggedWithTheLastErrorAndThenAsWritten) {
  const std::string text = WideToUtf8(FormatSystemError(5));
  ASSERT_NE(text, "");
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  set.Answer([](auto&&...) {
    ::SetLastError(5);
    return LSTATUS{8};
  });
  KUV_IMPORT_HOOK(close, RegCloseKey);
  std::size_t linesAtClose = 0;
  close.Answer([&](HKEY closed) {
    linesAtClose = log.Lines().size();
    return close.Original(closed);
  });
  for (const Writer& writer : kWriters) {
    SCOPED_TRACE(writer.wrote);
    log.Clear();
    EXPECT_FALSE(writer.write(kPath, L"v"));
    EXPECT_EQ(log.Lines(),
              (LogLines{{LogLevel::Error, writer.name + (" failed to write key v, error code 0x5: " + text)},
                        {LogLevel::Debug, writer.wrote}}));
    EXPECT_EQ(linesAtClose, 1u);
  }
  EXPECT_EQ(close.CallCount(), std::size(kWriters));
}

TEST_F(RegWriteLocalMachine, ErrorCodeIsShownInUpperCaseHexAndMayHaveNoText) {
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  set.Answer([](auto&&...) {
    ::SetLastError(0x2000DEAD);
    return LSTATUS{ERROR_ACCESS_DENIED};
  });
  EXPECT_FALSE(RegWriteLocalMachineDword(kPath, L"name", 1u));
  EXPECT_EQ(log.Lines().front(),
            (LogLine{LogLevel::Error,
                     "RegWriteLocalMachineDword failed to write key name, error code 0x2000DEAD: "}));
}

TEST_F(RegWriteLocalMachine, NumberIsLoggedAsSigned) {
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"v", 0xFFFFFFFEu));
  EXPECT_TRUE(RegWriteLocalMachineQword(kPath, L"v", std::uint64_t{0x1FFFFFFFD}));
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Debug, "RegWriteLocalMachineDword wrote -2 value for key v"},
                                   {LogLevel::Debug, "RegWriteLocalMachineQword wrote -3 value for key v"}}));
}

}  // namespace
