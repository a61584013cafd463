#include "KuvAuth/Registry/RegistryOperations.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <type_traits>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using Kuv::RegistryError;
using KuvTest::LogLines;
using KuvTest::TestKey;
using Bytes = std::vector<std::uint8_t>;
using GetValueHook = KuvTest::ImportHook<decltype(&::RegGetValueW)>;

const std::wstring kPath = L"Software\\KuvTest\\Operations";
const std::wstring kMissing = L"Software\\KuvTest\\Missing";

struct ErrorRow {
  const char* name;
  std::function<void()> operation;
  std::int32_t code;
  const char* message;
};

void ExpectError(const ErrorRow& row) {
  SCOPED_TRACE(row.name);
  try {
    row.operation();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const RegistryError& error) {
    EXPECT_EQ(error.code(), row.code);
    EXPECT_STREQ(error.what(), row.message);
  }
}

// Checks the arguments of a read and returns `size` bytes of `data`. Without data, expects a query for the
// size only.
GetValueHook::Replacement Answer(DWORD expectedFlags, DWORD expectedSize, const void* data, DWORD size) {
  return [=](HKEY root, const wchar_t* subKey, const wchar_t* name, DWORD flags, DWORD* type, void* buffer,
             DWORD* bytes) {
    EXPECT_EQ(root, HKEY_CURRENT_USER);
    EXPECT_STREQ(subKey, L"sub");
    EXPECT_STREQ(name, L"name");
    EXPECT_EQ(flags, expectedFlags);
    EXPECT_EQ(type, nullptr);
    if (data == nullptr) {
      EXPECT_EQ(buffer, nullptr);
    } else {
      EXPECT_EQ(*bytes, expectedSize);
      std::memcpy(buffer, data, size);
    }
    *bytes = size;
    return LSTATUS{ERROR_SUCCESS};
  };
}

class RegistryOperations : public KuvTest::KuvFixture {
 protected:
  ~RegistryOperations() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  TestKey key{HKEY_LOCAL_MACHINE, kPath};
};

TEST(RegistryErrorTest, IsARuntimeErrorWithACode) {
  static_assert(std::is_base_of_v<std::runtime_error, RegistryError>);
  const RegistryError error{1234, "what happened"};
  const RegistryError copy{error};
  EXPECT_EQ(copy.code(), 1234);
  EXPECT_STREQ(copy.what(), "what happened");
}

TEST_F(RegistryOperations, DeletesAKey) {
  key.Create();
  Kuv::DeleteRegistryKey(HKEY_LOCAL_MACHINE, kPath);
  EXPECT_FALSE(key.Exists());
}

TEST_F(RegistryOperations, ReadsADwordOfEitherType) {
  key.SetDword(L"dword", 0x89ABCDEF);
  key.SetBytes(L"binary", REG_BINARY, "\4\3\2\1", 4);
  EXPECT_EQ(Kuv::ReadRegistryDword(HKEY_LOCAL_MACHINE, kPath, L"dword"), 0x89ABCDEFu);
  EXPECT_EQ(Kuv::ReadRegistryDword(HKEY_LOCAL_MACHINE, kPath, L"binary"), 0x01020304u);
}

TEST_F(RegistryOperations, ReadsBytes) {
  key.SetBytes(L"v", REG_BINARY, "a\0b", 3);
  key.SetBytes(L"empty", REG_BINARY, "", 0);
  EXPECT_EQ(Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"v"), (Bytes{'a', 0, 'b'}));
  EXPECT_EQ(Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"empty"), Bytes{});
}

TEST_F(RegistryOperations, ReadsTextOfAnyLength) {
  for (const std::wstring& text : {std::wstring{L"some text"}, std::wstring(5000, L'x'), std::wstring{}}) {
    SCOPED_TRACE(text.size());
    key.SetText(L"v", text);
    EXPECT_EQ(Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"v"), text);
  }
}

TEST_F(RegistryOperations, ReadsADwordWithOneCall) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Script({Answer(/*expectedFlags=*/0x18, /*expectedSize=*/4, "\1\2\3\4", 4)});
  EXPECT_EQ(Kuv::ReadRegistryDword(HKEY_CURRENT_USER, L"sub", L"name"), 0x04030201u);
}

// A `REG_BINARY` value with fewer bytes.
TEST_F(RegistryOperations, BytesOfADwordThatAreNotReadAreZero) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Script({Answer(/*expectedFlags=*/0x18, /*expectedSize=*/4, "\1", 1),
              Answer(/*expectedFlags=*/0x18, /*expectedSize=*/4, "", 0)});
  EXPECT_EQ(Kuv::ReadRegistryDword(HKEY_CURRENT_USER, L"sub", L"name"), 1u);
  EXPECT_EQ(Kuv::ReadRegistryDword(HKEY_CURRENT_USER, L"sub", L"name"), 0u);
}

TEST_F(RegistryOperations, QueriesTheSizeOfBytesAndKeepsItIfFewerAreRead) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Script({Answer(/*expectedFlags=*/8, 0, nullptr, 5), Answer(8, /*expectedSize=*/5, "\7\7", 2)});
  EXPECT_EQ(Kuv::ReadRegistryBinary(HKEY_CURRENT_USER, L"sub", L"name"), (Bytes{7, 7, 0, 0, 0}));
}

TEST_F(RegistryOperations, QueriesTheSizeOfTextAndKeepsItIfLessIsRead) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Script({Answer(/*expectedFlags=*/2, 0, nullptr, 10), Answer(2, /*expectedSize=*/10, L"ab", 6)});
  EXPECT_EQ(Kuv::ReadRegistryString(HKEY_CURRENT_USER, L"sub", L"name"), (std::wstring{L"ab\0\0", 4}));
}

// Sizes that are not a whole text: the platform may fill every byte of the buffer.
TEST_F(RegistryOperations, TextOfAnySizeStaysWithinItsBuffer) {
  for (DWORD reported = 0; reported < 70; ++reported) {
    SCOPED_TRACE(reported);
    KUV_IMPORT_HOOK(get, RegGetValueW);
    get.Answer([&](HKEY, const wchar_t*, const wchar_t*, DWORD, DWORD*, void* data, DWORD* size) {
      *size = reported;
      if (data != nullptr) std::memset(data, 'x', reported);
      return LSTATUS{ERROR_SUCCESS};
    });
    const std::size_t units = reported < 4 ? 0 : reported / 2 - 1;
    EXPECT_EQ(Kuv::ReadRegistryString(HKEY_CURRENT_USER, L"sub", L"name"), std::wstring(units, L'\x7878'));
  }
}

TEST_F(RegistryOperations, MissingKeyOrValueOrAnotherTypeThrows) {
  key.SetDword(L"dword", 1);
  key.SetText(L"text", L"abc");
  key.SetBytes(L"qword", REG_QWORD, "\1\0\0\0\0\0\0", 8);
  KUV_IMPORT_HOOK(remove, RegDeleteKeyExW);
  const ErrorRow rows[] = {
      {"delete", [] { Kuv::DeleteRegistryKey(HKEY_LOCAL_MACHINE, kMissing); }, 2,
       "Unable to delete key from registry."},
      {"DWORD", [] { Kuv::ReadRegistryDword(HKEY_LOCAL_MACHINE, kPath, L"v"); }, 2,
       "Unable to read DWORD from registry."},
      {"DWORD that is text", [] { Kuv::ReadRegistryDword(HKEY_LOCAL_MACHINE, kPath, L"text"); }, 1630,
       "Unable to read DWORD from registry."},
      {"DWORD that is a QWORD", [] { Kuv::ReadRegistryDword(HKEY_LOCAL_MACHINE, kPath, L"qword"); }, 1630,
       "Unable to read DWORD from registry."},
      {"bytes", [] { Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kMissing, L"v"); }, 2,
       "Unable to get data size from registry."},
      {"bytes that are text", [] { Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"text"); }, 1630,
       "Unable to get data size from registry."},
      {"bytes that are a DWORD", [] { Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"dword"); }, 1630,
       "Unable to get data size from registry."},
      {"text", [] { Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kMissing, L"v"); }, 2,
       "Unable to read data size from registry."},
      {"text of another type", [] { Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"dword"); }, 1630,
       "Unable to read data size from registry."},
  };
  for (const ErrorRow& row : rows) ExpectError(row);
  EXPECT_EQ(remove.Calls(), (std::vector<std::tuple<HKEY, const wchar_t*, REGSAM, DWORD>>{
                                {HKEY_LOCAL_MACHINE, kMissing.c_str(), 0, 0}}));
}

TEST_F(RegistryOperations, FailedReadAfterTheSizeThrows) {
  key.SetBytes(L"bytes", REG_BINARY, "abc", 3);
  key.SetText(L"text", L"abc");
  const ErrorRow rows[] = {
      {"bytes", [] { Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"bytes"); }, 234,
       "Unable to read data from registry."},
      {"text", [] { Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"text"); }, 234,
       "Unable to read string from registry."},
  };
  for (const ErrorRow& row : rows) {
    KUV_IMPORT_HOOK(get, RegGetValueW);
    get.AnswerCall(2, [](auto&&...) { return LSTATUS{ERROR_MORE_DATA}; });
    ExpectError(row);
  }
}

const HKEY kCreated = reinterpret_cast<HKEY>(std::uintptr_t{0x5AFE});

// Replaces every call: a key that is created as the writers create it grants no right to write.
class RegistryOperationsWriters : public ::testing::Test {
 protected:
  RegistryOperationsWriters() {
    create.Answer([this](HKEY root, const wchar_t* path, DWORD reserved, wchar_t* keyClass, DWORD options,
                         REGSAM access, const SECURITY_ATTRIBUTES* security, HKEY* result,
                         DWORD* disposition) {
      EXPECT_EQ(root, HKEY_CURRENT_USER);
      EXPECT_STREQ(path, L"sub");
      EXPECT_EQ(reserved, 0u);
      EXPECT_EQ(keyClass, nullptr);
      EXPECT_EQ(options, 0x20006u) << "the access rights are in the place of the options";
      EXPECT_EQ(access, 0u);
      EXPECT_EQ(security, nullptr);
      EXPECT_EQ(disposition, nullptr);
      if (createStatus == ERROR_SUCCESS) *result = kCreated;
      return createStatus;
    });
    setValue.Answer(
        [this](HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
          EXPECT_EQ(key, kCreated);
          EXPECT_STREQ(name, L"name");
          EXPECT_EQ(reserved, 0u);
          writtenType = type;
          written.assign(data, data + size);
          return setStatus;
        });
    setKeyValue.Answer([this](HKEY key, const wchar_t* subKey, const wchar_t* name, DWORD type,
                              const void* data, DWORD size) {
      EXPECT_EQ(key, kCreated);
      EXPECT_STREQ(subKey, L"name");
      EXPECT_EQ(name, nullptr);
      writtenType = type;
      writtenFrom = data;
      written.assign(static_cast<const BYTE*>(data), static_cast<const BYTE*>(data) + size);
      return setStatus;
    });
    close.Answer([](HKEY key) {
      EXPECT_EQ(key, kCreated);
      return LSTATUS{ERROR_SUCCESS};
    });
  }
  ~RegistryOperationsWriters() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  // Expects this code from each writer, with its message.
  void ExpectErrors(std::int32_t code, const char* binary, const char* dword, const char* string) {
    const ErrorRow rows[] = {
        {"binary", [] { Kuv::WriteRegistryBinary(HKEY_CURRENT_USER, L"sub", L"name", {1}); }, code, binary},
        {"DWORD", [] { Kuv::WriteRegistryDword(HKEY_CURRENT_USER, L"sub", L"name", 1); }, code, dword},
        {"string", [] { Kuv::WriteRegistryString(HKEY_CURRENT_USER, L"sub", L"name", L"x"); }, code, string},
    };
    for (const ErrorRow& row : rows) ExpectError(row);
  }

  KuvTest::LogCapture log;
  LSTATUS createStatus = ERROR_SUCCESS;
  LSTATUS setStatus = ERROR_SUCCESS;
  DWORD writtenType = 0;
  const void* writtenFrom = nullptr;
  Bytes written;
  KuvTest::ImportHook<decltype(&::RegCreateKeyExW)> create{"RegCreateKeyExW"};
  KuvTest::ImportHook<decltype(&::RegSetValueExW)> setValue{"RegSetValueExW"};
  KuvTest::ImportHook<decltype(&::RegSetKeyValueW)> setKeyValue{"RegSetKeyValueW"};
  KuvTest::ImportHook<decltype(&::RegCloseKey)> close{"RegCloseKey"};
};

TEST_F(RegistryOperationsWriters, BinaryWritesANamedValue) {
  Kuv::WriteRegistryBinary(HKEY_CURRENT_USER, L"sub", L"name", {1, 0, 2});
  EXPECT_EQ(writtenType, 3u);
  EXPECT_EQ(written, (Bytes{1, 0, 2}));
  EXPECT_EQ(setValue.CallCount(), 1u);
  EXPECT_EQ(setKeyValue.CallCount(), 0u);
  EXPECT_EQ(close.CallCount(), 1u);
}

TEST_F(RegistryOperationsWriters, DwordWritesTheDefaultValueOfASubkey) {
  Kuv::WriteRegistryDword(HKEY_CURRENT_USER, L"sub", L"name", 0x89ABCDEF);
  EXPECT_EQ(writtenType, 4u);
  EXPECT_EQ(written, (Bytes{0xEF, 0xCD, 0xAB, 0x89}));
  EXPECT_EQ(setValue.CallCount(), 0u);
  EXPECT_EQ(setKeyValue.CallCount(), 1u);
  EXPECT_EQ(close.CallCount(), 1u);
}

TEST_F(RegistryOperationsWriters, StringWrites32BytesOfTheObject) {
  for (const std::wstring& value : {std::wstring{}, std::wstring{L"short"}, std::wstring(500, L'x')}) {
    SCOPED_TRACE(value.size());
    Kuv::WriteRegistryString(HKEY_CURRENT_USER, L"sub", L"name", value);
    Bytes object(32);
    std::memcpy(object.data(), &value, std::min<std::size_t>(sizeof(value), 32));
    EXPECT_EQ(written, object);
    EXPECT_EQ(writtenType, 1u);
    if constexpr (sizeof(value) >= 32) {
      EXPECT_EQ(writtenFrom, &value);
    }
  }
  EXPECT_EQ(setValue.CallCount(), 0u);
  EXPECT_EQ(setKeyValue.CallCount(), 3u);
  EXPECT_EQ(close.CallCount(), 3u);
}

TEST_F(RegistryOperationsWriters, FailedCreateThrowsAndClosesNothing) {
  createStatus = ERROR_ACCESS_DENIED;
  constexpr char message[] = "Unable to create key in registry.";
  ExpectErrors(5, message, message, message);
  EXPECT_EQ(setValue.CallCount() + setKeyValue.CallCount() + close.CallCount(), 0u);
}

TEST_F(RegistryOperationsWriters, FailedWriteThrowsAndClosesTheKey) {
  setStatus = ERROR_DISK_FULL;
  ExpectErrors(112, "Unable to write data to registry.", "Unable to set data in registry.",
               "Unable to set data in registry.");
  EXPECT_EQ(close.CallCount(), 3u);
}

}  // namespace
