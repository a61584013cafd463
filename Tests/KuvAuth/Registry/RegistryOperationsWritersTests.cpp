#include <algorithm>
#include <cstring>
#include <functional>

#include <gtest/gtest.h>

#include "KuvAuth/Registry/RegistryOperations.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using Kuv::RegistryError;
using KuvTest::LogLines;
using Bytes = std::vector<std::uint8_t>;

// Never the platform's: these tests answer every call themselves, since a key created as the writers do it
// has no right to be written to.
const HKEY kCreated = reinterpret_cast<HKEY>(std::uintptr_t{0x5AFE});

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
      EXPECT_EQ(options, 0x20006u) << "the access rights stand in the place of the options";
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

  void ExpectError(const std::function<void()>& operation, std::int32_t code, const char* message) {
    try {
      operation();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const RegistryError& error) {
      EXPECT_EQ(error.code(), code);
      EXPECT_STREQ(error.what(), message);
    }
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

TEST_F(RegistryOperationsWriters, BinaryWritesAValueOfThatName) {
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
    if (sizeof(value) >= 32) {
      EXPECT_EQ(writtenFrom, &value);
    }
  }
  EXPECT_EQ(setValue.CallCount(), 0u);
  EXPECT_EQ(setKeyValue.CallCount(), 3u);
  EXPECT_EQ(close.CallCount(), 3u);
}

TEST_F(RegistryOperationsWriters, KeyThatCannotBeCreatedThrowsAndNothingIsClosed) {
  createStatus = ERROR_ACCESS_DENIED;
  constexpr char message[] = "Unable to create key in registry.";
  ExpectError([] { Kuv::WriteRegistryBinary(HKEY_CURRENT_USER, L"sub", L"name", {1}); }, 5, message);
  ExpectError([] { Kuv::WriteRegistryDword(HKEY_CURRENT_USER, L"sub", L"name", 1); }, 5, message);
  ExpectError([] { Kuv::WriteRegistryString(HKEY_CURRENT_USER, L"sub", L"name", L"x"); }, 5, message);
  EXPECT_EQ(setValue.CallCount() + setKeyValue.CallCount() + close.CallCount(), 0u);
}

TEST_F(RegistryOperationsWriters, ValueThatCannotBeWrittenThrowsAndTheKeyIsClosed) {
  setStatus = ERROR_DISK_FULL;
  ExpectError([] { Kuv::WriteRegistryBinary(HKEY_CURRENT_USER, L"sub", L"name", {1}); }, 112,
              "Unable to write data to registry.");
  ExpectError([] { Kuv::WriteRegistryDword(HKEY_CURRENT_USER, L"sub", L"name", 1); }, 112,
              "Unable to set data in registry.");
  ExpectError([] { Kuv::WriteRegistryString(HKEY_CURRENT_USER, L"sub", L"name", L"x"); }, 112,
              "Unable to set data in registry.");
  EXPECT_EQ(close.CallCount(), 3u);
}

}  // namespace
