#include <cstdint>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Registry/Registry.h"
#include "KuvAuth/Support/SystemError.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"

namespace {

using KuvTest::LogLine;
using KuvTest::LogLines;

constexpr wchar_t kPath[] = L"Software\\KuvTest\\Deep";
constexpr wchar_t kName[] = L"Number";
constexpr std::uint64_t kLargest = 18446744073709551615ull;

const LogLine kClosed{LogLevel::Trace, "closed"};

// Logs each close, to show its position among the other lines.
class ClosingRegistry : public Registry {
 public:
  LSTATUS CloseKey(HKEY key) override {
    KUV_LOG(LogLevel::Trace, "closed");
    return Registry::CloseKey(key);
  }
};

class RegistryQword : public ::testing::Test {
 protected:
  // Writes and returns the message of the exception, which must be of this type.
  template <typename Exception>
  std::string FailToWrite(const wchar_t* path, const wchar_t* name) {
    try {
      registry.WriteQword(HKEY_LOCAL_MACHINE, path, name, 7);
    } catch (const Exception& error) {
      return error.what();
    }
    return "nothing thrown";
  }

  std::uint64_t Read(std::uint64_t defaultValue) {
    log.Clear();
    return registry.ReadQword(HKEY_LOCAL_MACHINE, kPath, kName, defaultValue);
  }

  static LogLine Found(const std::string& number) {
    return {LogLevel::Debug, "ReadQword found " + number + " for key Number"};
  }

  const KuvTest::RegistrySandbox sandbox;
  const KuvTest::TestKey key{HKEY_LOCAL_MACHINE, kPath};
  KuvTest::LogCapture log;
  ClosingRegistry platform;
  IRegistry& registry = platform;
};

TEST_F(RegistryQword, WritesEightBytesAndCreatesTheKey) {
  registry.WriteQword(HKEY_LOCAL_MACHINE, kPath, kName, 0x0102030405060708ull);
  DWORD type = 0;
  EXPECT_EQ(key.GetBytes(kName, type), (std::vector<std::uint8_t>{8, 7, 6, 5, 4, 3, 2, 1}));
  EXPECT_EQ(type, 11u);
}

TEST_F(RegistryQword, WritesBelowTheGivenRoot) {
  registry.WriteQword(HKEY_CLASSES_ROOT, kPath, kName, 7);
  EXPECT_FALSE(key.Exists());
  EXPECT_TRUE((KuvTest::TestKey{HKEY_CLASSES_ROOT, kPath}.Exists()));
  EXPECT_EQ(registry.ReadQword(HKEY_CLASSES_ROOT, kPath, kName, 1), 7u);
  EXPECT_EQ(registry.ReadQword(HKEY_LOCAL_MACHINE, kPath, kName, 1), 1u);
}

TEST_F(RegistryQword, WriteReplacesAValueOfAnyType) {
  key.SetText(kName, L"text");
  registry.WriteQword(HKEY_LOCAL_MACHINE, kPath, kName, 9);
  EXPECT_EQ(Read(1), 9u);
}

TEST_F(RegistryQword, WriteIsLoggedAfterTheKeyIsClosed) {
  registry.WriteQword(HKEY_LOCAL_MACHINE, kPath, kName, kLargest);
  EXPECT_EQ(log.Lines(),
            (LogLines{kClosed, {LogLevel::Debug, "WriteQword wrote 18446744073709551615 for key Number"}}));
}

TEST_F(RegistryQword, WriteRejectsANullNameAndChecksThePathFirst) {
  const struct {
    const wchar_t* path;
    const wchar_t* name;
    const char* argument;
  } rows[] = {{nullptr, kName, "keyPath"}, {kPath, nullptr, "valueName"}, {nullptr, nullptr, "keyPath"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.argument);
    log.Clear();
    EXPECT_EQ(FailToWrite<std::invalid_argument>(row.path, row.name), row.argument);
    const std::string line = std::string{"Invalid argument: "} + row.argument + " is NULL";
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, line}}));
    EXPECT_FALSE(key.Exists());
  }
}

TEST_F(RegistryQword, WriteThrowsWithoutALineIfTheKeyCannotBeCreated) {
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  create.Script({[](auto...) { return ERROR_ACCESS_DENIED; }});
  EXPECT_EQ(FailToWrite<std::runtime_error>(kPath, kName), "Failed to write registry key.");
  EXPECT_EQ(log.Lines(), LogLines{});
  EXPECT_EQ(set.CallCount(), 0u);
}

TEST_F(RegistryQword, WriteLogsTheLastErrorWithItsTextIfTheValueCannotBeSet) {
  const std::string diskFull = WideToUtf8(FormatSystemError(112));
  ASSERT_NE(diskFull, "");
  const std::pair<DWORD, std::string> rows[] = {{0xABCDEF12, "0xABCDEF12: "}, {112, "0x70: " + diskFull}};
  for (const auto& [code, text] : rows) {
    SCOPED_TRACE(text);
    log.Clear();
    KUV_IMPORT_HOOK(set, RegSetValueExW);
    set.Script({[lastError = code](auto...) {
      ::SetLastError(lastError);
      return ERROR_ACCESS_DENIED;
    }});
    EXPECT_EQ(FailToWrite<std::runtime_error>(kPath, kName), "Failed to write registry key.");
    EXPECT_EQ(
        log.Lines(),
        (LogLines{{LogLevel::Error, "WriteQword failed to write key Number, error code " + text}, kClosed}));
  }
}

TEST_F(RegistryQword, WriteClosesTheKeyOnceOnEachPath) {
  for (const bool succeeds : {true, false}) {
    SCOPED_TRACE(succeeds);
    HKEY created = nullptr;
    KUV_IMPORT_HOOK(create, RegCreateKeyExW);
    KUV_IMPORT_HOOK(set, RegSetValueExW);
    KUV_IMPORT_HOOK(close, RegCloseKey);
    create.Answer([&](HKEY root, const wchar_t* path, DWORD reserved, wchar_t* type, DWORD options,
                      REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* result, DWORD* disposition) {
      const LSTATUS status =
          create.Original(root, path, reserved, type, options, access, security, result, disposition);
      created = *result;
      return status;
    });
    if (!succeeds) set.Answer([](auto...) { return ERROR_ACCESS_DENIED; });
    EXPECT_EQ(FailToWrite<std::runtime_error>(kPath, kName),
              succeeds ? "nothing thrown" : "Failed to write registry key.");
    EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HKEY>>{{created}}));
  }
}

TEST_F(RegistryQword, WriteCallsThePlatformWithExactArguments) {
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  registry.WriteQword(HKEY_LOCAL_MACHINE, kPath, kName, 7);
  ASSERT_EQ(create.CallCount(), 1u);
  const auto& [root, path, reserved, type, options, access, security, result, disposition] =
      create.Calls()[0];
  EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
  EXPECT_EQ(path, kPath);
  EXPECT_EQ(reserved, 0u);
  EXPECT_EQ(type, nullptr);
  EXPECT_EQ(options, 0u);
  EXPECT_EQ(access, 0x20006u);
  EXPECT_EQ(security, nullptr);
  EXPECT_NE(result, nullptr);
  EXPECT_EQ(disposition, nullptr);
  ASSERT_EQ(set.CallCount(), 1u);
  const auto& [handle, name, setReserved, setType, data, size] = set.Calls()[0];
  EXPECT_EQ(name, kName);
  EXPECT_EQ(setReserved, 0u);
  EXPECT_EQ(setType, 11u);
  EXPECT_NE(data, nullptr);
  EXPECT_EQ(size, 8u);
}

TEST_F(RegistryQword, ReadsWhatWasWritten) {
  for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{1} << 32, kLargest}) {
    SCOPED_TRACE(number);
    registry.WriteQword(HKEY_LOCAL_MACHINE, kPath, kName, number);
    EXPECT_EQ(Read(42), number);
    EXPECT_EQ(log.Lines(), (LogLines{kClosed, Found(std::to_string(number))}));
  }
}

TEST_F(RegistryQword, ReadRejectsNullNamesAndReturnsTheDefault) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  const std::tuple<const wchar_t*, const wchar_t*, std::uint64_t> rows[] = {
      {nullptr, kName, 42}, {kPath, nullptr, kLargest}, {nullptr, nullptr, 0}};
  for (const auto& [path, name, defaultValue] : rows) {
    SCOPED_TRACE(defaultValue);
    log.Clear();
    EXPECT_EQ(registry.ReadQword(HKEY_LOCAL_MACHINE, path, name, defaultValue), defaultValue);
    EXPECT_EQ(log.Lines(),
              (LogLines{{LogLevel::Warning,
                         "ReadQword called with invalid parameters. Returning default value."}}));
  }
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(RegistryQword, ReadOfAMissingKeyOrValueReturnsAndLogsTheDefault) {
  EXPECT_EQ(Read(kLargest), kLargest);
  EXPECT_EQ(log.Lines(), LogLines{Found("18446744073709551615")});
  key.Create();
  EXPECT_EQ(Read(42), 42u);
  EXPECT_EQ(log.Lines(), (LogLines{kClosed, Found("42")}));
}

TEST_F(RegistryQword, ReadOfAnotherTypeReturnsTheDefault) {
  constexpr BYTE data[8] = {7};
  for (const DWORD type : {REG_NONE, REG_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ}) {
    for (const std::size_t size : {4u, 8u}) {
      SCOPED_TRACE(::testing::Message() << type << ", " << size << " bytes");
      key.SetBytes(kName, type, data, size);
      EXPECT_EQ(Read(42), 42u);
      EXPECT_EQ(log.Lines(), (LogLines{kClosed, Found("42")}));
    }
  }
}

TEST_F(RegistryQword, ReadOfAShortNumberFillsTheLowBytesAndOfALongOneReturnsTheDefault) {
  constexpr BYTE data[9] = {7, 1};
  for (const auto& [size, expected] : {std::pair{0u, 0u}, {1u, 7u}, {4u, 263u}, {9u, 42u}}) {
    SCOPED_TRACE(size);
    key.SetBytes(kName, REG_QWORD, data, size);
    EXPECT_EQ(Read(42), expected);
  }
}

TEST_F(RegistryQword, FailedReadReturnsTheDefaultWhateverIsInTheBuffer) {
  key.Create();
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  query.Answer([](HKEY, const wchar_t*, DWORD*, DWORD* type, BYTE* data, DWORD*) {
    *type = REG_QWORD;
    std::memset(data, 1, 8);
    return ERROR_READ_FAULT;
  });
  EXPECT_EQ(Read(42), 42u);
}

TEST_F(RegistryQword, ReadOpensForReadingAndQueriesThroughTheInterface) {
  struct : ClosingRegistry {
    LSTATUS QueryValueW(HKEY, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                        DWORD* size) override {
      EXPECT_EQ(name, kName);
      EXPECT_EQ(reserved, nullptr);
      EXPECT_EQ(*type, 1u);
      EXPECT_EQ(*size, 8u);
      *type = REG_QWORD;
      *size = 99;
      std::memset(data, 1, 8);
      return ERROR_SUCCESS;
    }
  } scripted;
  key.Create();
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  EXPECT_EQ(scripted.ReadQword(HKEY_LOCAL_MACHINE, kPath, kName, 42), 0x0101010101010101ull);
  ASSERT_EQ(open.CallCount(), 1u);
  const auto& [root, path, options, access, result] = open.Calls()[0];
  EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
  EXPECT_EQ(path, kPath);
  EXPECT_EQ(options, 0u);
  EXPECT_EQ(access, 0x20019u);
  EXPECT_NE(result, nullptr);
  EXPECT_EQ(close.CallCount(), 1u);
}

}  // namespace
