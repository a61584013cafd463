#include "KuvAuth/Registry/LocalMachineRegistry.h"

#include <functional>
#include <optional>
#include <type_traits>

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/Support/SystemError.h"
#include "KuvAuth/Support/Text.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using namespace std::string_literals;
using KuvTest::LogLine;
using KuvTest::LogLines;
using KuvTest::TestKey;
using Bytes = std::vector<std::uint8_t>;

constexpr wchar_t kPath[] = L"Software\\KuvTest\\LocalMachine";

class LocalMachineFixture : public KuvTest::KuvFixture {
 protected:
  TestKey key{HKEY_LOCAL_MACHINE, kPath};
};

// Reads a value with a default and returns the result as text.
using Reader = std::function<std::string(const wchar_t* subKey, const wchar_t* name)>;

Reader Binary(Bytes defaultValue) {
  return [=](const wchar_t* subKey, const wchar_t* name) {
    std::string text;
    for (const auto byte : RegReadLocalMachineBinary(subKey, name, defaultValue))
      text += std::to_string(byte) + ' ';
    return text;
  };
}
Reader Flag(bool defaultValue) {
  return [=](const wchar_t* subKey, const wchar_t* name) {
    return RegReadLocalMachineDword(subKey, name, defaultValue) ? "true" : "false";
  };
}
Reader Dword(std::uint32_t defaultValue) {
  return [=](const wchar_t* subKey, const wchar_t* name) {
    return std::to_string(RegReadLocalMachineDword(subKey, name, defaultValue));
  };
}
Reader Qword(std::uint64_t defaultValue) {
  return [=](const wchar_t* subKey, const wchar_t* name) {
    return std::to_string(RegReadLocalMachineQword(subKey, name, defaultValue));
  };
}
Reader String(const wchar_t* defaultValue) {
  return [=](const wchar_t* subKey, const wchar_t* name) {
    return WideToUtf8(RegReadLocalMachineString(subKey, name, defaultValue));
  };
}

struct ReadRow {
  const char* name;
  Reader read;
  std::string expected;
  std::string line;  // logged at Debug, without the name of the value; empty for no line
};

class RegReadLocalMachine : public LocalMachineFixture {
 protected:
  void ExpectRead(const ReadRow& row) {
    SCOPED_TRACE(row.name);
    log.Clear();
    EXPECT_EQ(row.read(kPath, L"value"), row.expected);
    const std::string line = row.line + " value for key value";
    EXPECT_EQ(log.Lines(), row.line.empty() ? LogLines{} : (LogLines{{LogLevel::Debug, line}}));
  }
};

TEST_F(RegReadLocalMachine, MissingKeyReturnsTheDefaultButNoBytes) {
  const ReadRow rows[] = {
      {"binary", Binary({1, 2}), "", ""},
      {"flag on", Flag(true), "true", "RegReadLocalMachineDword found 1"},
      {"flag off", Flag(false), "false", "RegReadLocalMachineDword found 0"},
      {"DWORD", Dword(7), "7", "RegReadLocalMachineDword found 7"},
      {"QWORD", Qword(0x900000001), "38654705665", "RegReadLocalMachineQword found 1"},
      {"string", String(L"one"), "one", "RegReadLocalMachineString found one"},
  };
  for (const ReadRow& row : rows) ExpectRead(row);
}

TEST_F(RegReadLocalMachine, MissingValueReturnsTheDefault) {
  key.Create();
  const ReadRow rows[] = {
      {"binary", Binary({1, 2}), "1 2 ", ""},
      {"DWORD", Dword(7), "7", "RegReadLocalMachineDword found 7"},
      {"QWORD", Qword(2), "2", "RegReadLocalMachineQword found 2"},
      {"string", String(L"two"), "two", "RegReadLocalMachineString found two"},
  };
  for (const ReadRow& row : rows) ExpectRead(row);
}

struct StoredRow : ReadRow {
  DWORD type;
  std::string data;
};

TEST_F(RegReadLocalMachine, StoredValueIsReturnedAndLoggedUnlessItHasAnotherType) {
  const std::string dword5 = "\5\0\0\0"s;
  const StoredRow rows[] = {
      {{"bytes", Binary({9}), "1 0 2 ", "RegReadLocalMachineBinary found"}, 3, "\1\0\2"s},
      {{"no bytes", Binary({1}), "", "RegReadLocalMachineBinary found"}, 3, ""},
      {{"bytes of another type", Binary({1, 2}), "1 2 ", ""}, 4, dword5},
      {{"DWORD", Dword(7), "4294967295", "RegReadLocalMachineDword found -1"}, 4, "\xFF\xFF\xFF\xFF"},
      {{"DWORD of another type", Dword(8), "8", "RegReadLocalMachineDword found 8"}, 3, "\1\0\0\0"s},
      {{"flag above one", Flag(false), "true", "RegReadLocalMachineDword found 2"}, 4, "\2\0\0\0"s},
      {{"flag of zero", Flag(true), "false", "RegReadLocalMachineDword found 0"}, 4, "\0\0\0\0"s},
      {{"QWORD", Qword(1), "1234605615003729925", "RegReadLocalMachineQword found 5"},
       11,
       "\x05\0\0\0\x44\x33\x22\x11"s},
      {{"QWORD of another type", Qword(4), "4", "RegReadLocalMachineQword found 4"}, 4, "\3\0\0\0"s},
      {{"string", String(L"d"), "some", "RegReadLocalMachineString found some"}, 1, "s\0o\0m\0e\0\0\0"s},
      {{"string with a NUL", String(L"d"), "a", "RegReadLocalMachineString found a"}, 1, "a\0\0\0b\0\0\0"s},
      {{"string of another type", String(L"three"), "three", "RegReadLocalMachineString found three"},
       2,
       "x\0\0\0"s},
  };
  for (const StoredRow& row : rows) {
    key.SetBytes(L"value", row.type, row.data.data(), row.data.size());
    ExpectRead(row);
  }
}

// The size is not looked at: bytes that are missing are 0.
TEST_F(RegReadLocalMachine, NumberWithFewerBytesIsReturned) {
  const std::string bytes = "\x81\x82\x83\x84\x85\x86\x87";
  const struct {
    std::size_t size;
    std::uint64_t number;
  } rows[] = {{0, 0},          {1, 0x81},         {2, 0x8281},         {3, 0x838281},
              {4, 0x84838281}, {5, 0x8584838281}, {6, 0x868584838281}, {7, 0x87868584838281}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.size);
    const std::string logged = std::to_string(static_cast<std::int32_t>(row.number));
    if (row.size < 4) {
      key.SetBytes(L"value", REG_DWORD, bytes.data(), row.size);
      ExpectRead({"DWORD", Dword(7), std::to_string(row.number), "RegReadLocalMachineDword found " + logged});
      ExpectRead({"flag", Flag(row.size == 0), row.size == 0 ? "false" : "true",
                  "RegReadLocalMachineDword found " + logged});
    }
    key.SetBytes(L"value", REG_QWORD, bytes.data(), row.size);
    ExpectRead({"QWORD", Qword(7), std::to_string(row.number), "RegReadLocalMachineQword found " + logged});
  }
}

TEST_F(RegReadLocalMachine, FailedQueryReturnsTheDefaultWhateverItsType) {
  key.Create();
  const StoredRow rows[] = {
      {{"DWORD", Dword(7), "7", "RegReadLocalMachineDword found 7"}, REG_DWORD, std::string(4, 'x')},
      {{"QWORD", Qword(8), "8", "RegReadLocalMachineQword found 8"}, REG_QWORD, std::string(8, 'x')},
      {{"string", String(L"d"), "d", "RegReadLocalMachineString found d"}, REG_SZ, std::string(4000, 'x')},
      {{"binary", Binary({9}), "9 ", ""}, REG_BINARY, std::string(40000, 'x')},
  };
  for (const StoredRow& row : rows) {
    KUV_IMPORT_HOOK(query, RegQueryValueExW);
    query.Answer([&](HKEY, const wchar_t*, DWORD*, DWORD* type, BYTE*, DWORD* size) {
      *type = row.type;
      *size = static_cast<DWORD>(row.data.size());
      return LSTATUS{ERROR_MORE_DATA};
    });
    ExpectRead(row);
  }
}

TEST_F(RegReadLocalMachine, NullKeyNameReturnsTheDefaultWithoutALine) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  EXPECT_EQ(Binary({1, 2})(nullptr, L"v"), "1 2 ");
  EXPECT_EQ(Flag(true)(nullptr, L"v"), "true");
  EXPECT_EQ(Flag(false)(nullptr, L"v"), "false");
  EXPECT_EQ(Dword(7)(nullptr, L"v"), "7");
  EXPECT_EQ(Qword(8)(nullptr, L"v"), "8");
  EXPECT_EQ(String(L"d")(nullptr, L"v"), "d");
  EXPECT_EQ(log.Lines(), LogLines{});
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(RegReadLocalMachine, NullValueNameReadsTheDefaultValue) {
  const StoredRow rows[] = {
      {{"binary", Binary({9}), "1 2 ", "RegReadLocalMachineBinary found"}, 3, "\1\2"},
      {{"flag", Flag(false), "true", "RegReadLocalMachineDword found 12"}, 4, "\x0C\0\0\0"s},
      {{"DWORD", Dword(7), "12", "RegReadLocalMachineDword found 12"}, 4, "\x0C\0\0\0"s},
      {{"QWORD", Qword(7), "13", "RegReadLocalMachineQword found 13"}, 11, "\x0D\0\0\0\0\0\0\0"s},
      {{"string", String(L"d"), "a", "RegReadLocalMachineString found a"}, 1, "a\0\0\0"s},
  };
  for (const StoredRow& row : rows) {
    SCOPED_TRACE(row.name);
    key.SetBytes(L"", row.type, row.data.data(), row.data.size());
    log.Clear();
    EXPECT_EQ(row.read(kPath, nullptr), row.expected);
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Debug, row.line + " value for key (null)"}}));
  }
}

TEST_F(RegReadLocalMachine, NullValueNameReturnsTheDefaultIfThereIsNoDefaultValue) {
  key.Create();
  const ReadRow rows[] = {
      {"binary", Binary({9}), "9 ", ""},
      {"flag", Flag(true), "true", "RegReadLocalMachineDword found 1"},
      {"DWORD", Dword(7), "7", "RegReadLocalMachineDword found 7"},
      {"QWORD", Qword(8), "8", "RegReadLocalMachineQword found 8"},
      {"string", String(L"d"), "d", "RegReadLocalMachineString found d"},
  };
  for (const ReadRow& row : rows) {
    SCOPED_TRACE(row.name);
    log.Clear();
    EXPECT_EQ(row.read(kPath, nullptr), row.expected);
    const std::string line = row.line + " value for key (null)";
    EXPECT_EQ(log.Lines(), row.line.empty() ? LogLines{} : (LogLines{{LogLevel::Debug, line}}));
  }
}

const std::pair<const wchar_t*, Reader> kReaders[] = {
    {L"b", Binary({})}, {L"f", Flag(false)}, {L"d", Dword(0)}, {L"q", Qword(0)}, {L"s", String(L"")}};

TEST_F(RegReadLocalMachine, OpensForReadingAndClosesBeforeItLogs) {
  key.SetDword(L"d", 1);
  HKEY opened = nullptr;
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  open.Answer([&](HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* result) {
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_STREQ(path, L"Software\\KuvTest\\LocalMachine");
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
  for (const auto& [name, read] : kReaders) {
    SCOPED_TRACE(::testing::PrintToString(name));
    log.Clear();
    read(kPath, name);
  }
  EXPECT_EQ(open.CallCount(), 5u);
  EXPECT_EQ(close.CallCount(), 5u);
}

TEST_F(RegReadLocalMachine, QueriesWithPresetTypeAndSize) {
  key.Create();
  using Query = std::tuple<std::wstring, DWORD, DWORD>;  // name, type, size
  std::vector<Query> queries;
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  query.Answer([&](HKEY, const wchar_t* name, DWORD*, DWORD* type, BYTE*, DWORD* size) {
    queries.emplace_back(name, *type, *size);
    return LSTATUS{ERROR_FILE_NOT_FOUND};
  });
  for (const auto& [name, read] : kReaders) read(kPath, name);
  EXPECT_EQ(queries, (std::vector<Query>{
                         {L"b", 3, 32768}, {L"f", 1, 4}, {L"d", 1, 4}, {L"q", 1, 8}, {L"s", 1, 2080}}));
}

TEST_F(RegReadLocalMachine, BinaryReadsAtMost32768Bytes) {
  const Bytes bytes(32769, 0xA5);
  key.SetBytes(L"value", REG_BINARY, bytes.data(), 32768);
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", {}), Bytes(32768, 0xA5));
  key.SetBytes(L"value", REG_BINARY, bytes.data(), 32769);
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"value", Bytes{1}), Bytes{1});
}

TEST_F(RegReadLocalMachine, DwordAcceptsADefaultOfAnySmallIntegerType) {
  key.SetDword(L"value", 2);
  const auto found = RegReadLocalMachineDword(kPath, L"value", DWORD{7});
  static_assert(std::is_same_v<decltype(found), const std::uint32_t>);
  EXPECT_EQ(found, 2u);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"missing", DWORD{7}), 7u);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"missing", 8), 8u);
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"missing", -1), 0xFFFFFFFFu);
  static_assert(std::is_same_v<decltype(RegReadLocalMachineDword(kPath, L"value", true)), bool>);
}

TEST_F(RegReadLocalMachine, StringReadsAtMost1039Characters) {
  const std::wstring longest(1039, L'x');
  key.SetText(L"value", longest);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"d"), longest);
  key.SetText(L"value", longest + L"x");
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"d"), L"d");
}

TEST_F(RegReadLocalMachine, StringWithoutTerminatorEndsWithItsData) {
  const std::wstring text(1040, L'x');
  // The platform stores a NUL that follows the data too, so another character follows here.
  key.SetBytes(L"value", REG_SZ, (text + L"y").data(), 2080);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"value", L"d"), text);
}

// Each writer with a value, its name and its line at Debug.
struct Writer {
  const char* name;
  std::function<bool(const wchar_t* subKey, const wchar_t* name)> write;
  const char* wrote;
};

template <typename Value>
std::function<bool(const wchar_t*, const wchar_t*)> With(bool (*write)(const wchar_t*, const wchar_t*, Value),
                                                         Value value) {
  return [=](const wchar_t* subKey, const wchar_t* name) { return write(subKey, name, value); };
}

const Writer kWriters[] = {
    {"RegWriteLocalMachineBinary", With<Bytes>(RegWriteLocalMachineBinary, Bytes{1, 2, 3}),
     "RegWriteLocalMachineBinary wrote value for key v"},
    {"RegWriteLocalMachineDword", With<bool>(RegWriteLocalMachineDword, true),
     "RegWriteLocalMachineDword wrote 1 value for key v"},
    {"RegWriteLocalMachineDword", With<std::uint32_t>(RegWriteLocalMachineDword, 77u),
     "RegWriteLocalMachineDword wrote 77 value for key v"},
    {"RegWriteLocalMachineQword", With<std::uint64_t>(RegWriteLocalMachineQword, 0x700000006),
     "RegWriteLocalMachineQword wrote 6 value for key v"},
    {"RegWriteLocalMachineString", With<const wchar_t*>(RegWriteLocalMachineString, L"text"),
     "RegWriteLocalMachineString wrote text value for key v"},
};

class RegWriteLocalMachine : public LocalMachineFixture {
 protected:
  // Writes with each writer and expects the result and these lines.
  void WriteAll(
      bool expected, const std::function<LogLines(const Writer&)>& lines,
      const std::function<void()>& check = [] {}) {
    for (const Writer& writer : kWriters) {
      SCOPED_TRACE(writer.wrote);
      log.Clear();
      EXPECT_EQ(writer.write(kPath, L"v"), expected);
      EXPECT_EQ(log.Lines(), lines(writer));
      check();
    }
  }

  static LogLines WroteLine(const Writer& writer) { return {{LogLevel::Debug, writer.wrote}}; }
};

TEST_F(RegWriteLocalMachine, RejectsNullNamesWithoutALine) {
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  for (const Writer& writer : kWriters) {
    SCOPED_TRACE(writer.wrote);
    EXPECT_FALSE(writer.write(nullptr, L"v"));
    EXPECT_FALSE(writer.write(kPath, nullptr));
  }
  EXPECT_EQ(create.CallCount(), 0u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(RegWriteLocalMachine, StoresTypeAndBytes) {
  const struct {
    const wchar_t* name;
    bool written;
    DWORD type;
    Bytes bytes;
  } rows[] = {
      {L"bytes", RegWriteLocalMachineBinary(kPath, L"bytes", Bytes{5, 0, 6}), 3, {5, 0, 6}},
      {L"no bytes", RegWriteLocalMachineBinary(kPath, L"no bytes", {}), 3, {}},
      {L"true", RegWriteLocalMachineDword(kPath, L"true", true), 4, {1, 0, 0, 0}},
      {L"false", RegWriteLocalMachineDword(kPath, L"false", false), 4, {0, 0, 0, 0}},
      {L"uint32", RegWriteLocalMachineDword(kPath, L"uint32", 0x89ABCDEFu), 4, {0xEF, 0xCD, 0xAB, 0x89}},
      {L"DWORD", RegWriteLocalMachineDword(kPath, L"DWORD", DWORD{2}), 4, {2, 0, 0, 0}},
      {L"int", RegWriteLocalMachineDword(kPath, L"int", -2), 4, {0xFE, 0xFF, 0xFF, 0xFF}},
      {L"QWORD",
       RegWriteLocalMachineQword(kPath, L"QWORD", std::uint64_t{0x0123456789ABCDEF}),
       11,
       {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}},
      {L"text with its NUL",
       RegWriteLocalMachineString(kPath, L"text with its NUL", L"ab"),
       1,
       {'a', 0, 'b', 0, 0, 0}},
      {L"no text", RegWriteLocalMachineString(kPath, L"no text", L""), 1, {0, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.name));
    EXPECT_TRUE(row.written);
    DWORD type = 0;
    EXPECT_EQ(key.GetBytes(row.name, type), row.bytes);
    EXPECT_EQ(type, row.type);
  }
}

TEST_F(RegWriteLocalMachine, CreatesTheKeyForWritingClosesItAndLogs) {
  HKEY created = nullptr;
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  create.Answer([&](HKEY root, const wchar_t* path, DWORD reserved, wchar_t* keyClass, DWORD options,
                    REGSAM access, const SECURITY_ATTRIBUTES* security, HKEY* result, DWORD* disposition) {
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_STREQ(path, L"Software\\KuvTest\\LocalMachine");
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
  WriteAll(true, WroteLine, [&] {
    EXPECT_EQ(std::get<0>(set.Calls().back()), created);
    EXPECT_STREQ(std::get<1>(set.Calls().back()), L"v");
    EXPECT_EQ(std::get<2>(set.Calls().back()), 0u);
    EXPECT_EQ(std::get<0>(close.Calls().back()), created);
  });
  EXPECT_EQ(close.CallCount(), std::size(kWriters));
}

TEST_F(RegWriteLocalMachine, FailedCreateReturnsFalseButStillLogsTheWrite) {
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  create.Answer([](auto&&...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  WriteAll(false, WroteLine);
  EXPECT_EQ(set.CallCount(), 0u);
  EXPECT_EQ(close.CallCount(), 0u);
}

// The status is 8, the last error 5: the line shows the last error. The key is closed between the lines.
TEST_F(RegWriteLocalMachine, FailedWriteLogsTheLastErrorAndThenTheWrite) {
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
  const auto lines = [&](const Writer& writer) {
    return LogLines{{LogLevel::Error, writer.name + (" failed to write key v, error code 0x5: " + text)},
                    {LogLevel::Debug, writer.wrote}};
  };
  WriteAll(false, lines, [&] { EXPECT_EQ(linesAtClose, 1u); });
  EXPECT_EQ(close.CallCount(), std::size(kWriters));
}

TEST_F(RegWriteLocalMachine, LogsAnErrorCodeInUpperCaseHexWithOrWithoutText) {
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

TEST_F(RegWriteLocalMachine, LogsNumbersAsSigned) {
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"v", 0xFFFFFFFEu));
  EXPECT_TRUE(RegWriteLocalMachineQword(kPath, L"v", std::uint64_t{0x1FFFFFFFD}));
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Debug, "RegWriteLocalMachineDword wrote -2 value for key v"},
                                   {LogLevel::Debug, "RegWriteLocalMachineQword wrote -3 value for key v"}}));
}

// Return whether a call with this type of value or default compiles.
template <typename Value>
constexpr bool CanBeWritten = requires(Value value) {
  RegWriteLocalMachineDword(L"", L"", value);
};
template <typename Value>
constexpr bool CanBeDefault = requires(Value value) {
  RegReadLocalMachineDword(L"", L"", value);
};
template <typename Value>
constexpr bool CanBeFlag = requires(Value value) {
  GetBoolSetting("", value);
};

// A pointer would convert to a flag that is always set.
TEST(LocalMachineDword, DoesNotTakeAPointer) {
  EXPECT_FALSE((CanBeWritten<const wchar_t*> || CanBeWritten<wchar_t*> || CanBeWritten<const wchar_t(&)[5]> ||
                CanBeWritten<const char*> || CanBeWritten<void*>));
  EXPECT_FALSE((CanBeDefault<const wchar_t*> || CanBeDefault<wchar_t*> || CanBeDefault<const wchar_t(&)[5]> ||
                CanBeDefault<const char*> || CanBeDefault<void*>));
  EXPECT_FALSE(
      (CanBeFlag<const char*> || CanBeFlag<char*> || CanBeFlag<const char(&)[5]> || CanBeFlag<void*>));
  EXPECT_TRUE((CanBeWritten<bool> && CanBeWritten<int> && CanBeWritten<unsigned long> && CanBeWritten<char>));
  EXPECT_TRUE((CanBeDefault<bool> && CanBeDefault<int> && CanBeDefault<unsigned long> && CanBeDefault<char>));
  EXPECT_TRUE((CanBeFlag<bool> && CanBeFlag<int>));
}

}  // namespace
