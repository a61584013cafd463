#include "KuvAuth/Registry/RegistryOperations.h"

#include <cstring>
#include <type_traits>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using Kuv::RegistryError;
using KuvTest::LogLines;
using KuvTest::TestKey;
using Bytes = std::vector<std::uint8_t>;

const std::wstring kPath = L"Software\\KuvTest\\Operations";

// Runs the operation, which must throw, and compares code and message.
template <typename Operation>
void ExpectError(Operation operation, std::int32_t code, const char* message) {
  try {
    operation();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const RegistryError& error) {
    EXPECT_EQ(error.code(), code);
    EXPECT_STREQ(error.what(), message);
  }
}

class RegistryOperations : public KuvTest::KuvFixture {
 protected:
  ~RegistryOperations() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  TestKey key{HKEY_LOCAL_MACHINE, kPath};
};

TEST(RegistryErrorTest, IsARuntimeErrorThatCarriesACode) {
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

TEST_F(RegistryOperations, DeleteOfMissingKeyThrows) {
  KUV_IMPORT_HOOK(remove, RegDeleteKeyExW);
  ExpectError([] { Kuv::DeleteRegistryKey(HKEY_LOCAL_MACHINE, kPath); }, 2,
              "Unable to delete key from registry.");
  EXPECT_EQ(remove.Calls(), (std::vector<std::tuple<HKEY, const wchar_t*, REGSAM, DWORD>>{
                                {HKEY_LOCAL_MACHINE, kPath.c_str(), 0, 0}}));
}

TEST_F(RegistryOperations, ReadsADword) {
  key.SetDword(L"v", 0x89ABCDEF);
  EXPECT_EQ(Kuv::ReadRegistryDword(HKEY_LOCAL_MACHINE, kPath, L"v"), 0x89ABCDEFu);
}

TEST_F(RegistryOperations, ReadsADwordStoredAsFourBytes) {
  key.SetBytes(L"v", REG_BINARY, "\4\3\2\1", 4);
  EXPECT_EQ(Kuv::ReadRegistryDword(HKEY_LOCAL_MACHINE, kPath, L"v"), 0x01020304u);
}

TEST_F(RegistryOperations, DwordOfMissingValueThrowsFileNotFound) {
  key.Create();
  ExpectError([] { Kuv::ReadRegistryDword(HKEY_LOCAL_MACHINE, kPath, L"v"); }, 2,
              "Unable to read DWORD from registry.");
}

TEST_F(RegistryOperations, DwordIsReadByOneCall) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Script({[](HKEY root, const wchar_t* subKey, const wchar_t* name, DWORD flags, DWORD* type, void* data,
                 DWORD* size) {
    EXPECT_EQ(root, HKEY_CURRENT_USER);
    EXPECT_STREQ(subKey, L"sub");
    EXPECT_STREQ(name, L"name");
    EXPECT_EQ(flags, 0x18u);
    EXPECT_EQ(type, nullptr);
    EXPECT_EQ(*size, 4u);
    std::memcpy(data, "\1\2\3\4", 4);
    return LSTATUS{ERROR_SUCCESS};
  }});
  EXPECT_EQ(Kuv::ReadRegistryDword(HKEY_CURRENT_USER, L"sub", L"name"), 0x04030201u);
}

TEST_F(RegistryOperations, ReadsBytes) {
  key.SetBytes(L"v", REG_BINARY, "a\0b", 3);
  EXPECT_EQ(Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"v"), (Bytes{'a', 0, 'b'}));
}

TEST_F(RegistryOperations, ReadsNoBytes) {
  key.SetBytes(L"v", REG_BINARY, "", 0);
  EXPECT_EQ(Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"v"), Bytes{});
}

TEST_F(RegistryOperations, BytesOfMissingValueThrow) {
  ExpectError([] { Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"v"); }, 2,
              "Unable to get data size from registry.");
}

TEST_F(RegistryOperations, BytesAreMeasuredThenReadAndNotShrunk) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Script({[](HKEY root, const wchar_t* subKey, const wchar_t* name, DWORD flags, DWORD* type, void* data,
                 DWORD* size) {
                EXPECT_EQ(root, HKEY_CURRENT_USER);
                EXPECT_STREQ(subKey, L"sub");
                EXPECT_STREQ(name, L"name");
                EXPECT_EQ(flags, 8u);
                EXPECT_EQ(type, nullptr);
                EXPECT_EQ(data, nullptr);
                *size = 5;
                return LSTATUS{ERROR_SUCCESS};
              },
              [](HKEY root, const wchar_t* subKey, const wchar_t* name, DWORD flags, DWORD* type, void* data,
                 DWORD* size) {
                EXPECT_EQ(root, HKEY_CURRENT_USER);
                EXPECT_STREQ(subKey, L"sub");
                EXPECT_STREQ(name, L"name");
                EXPECT_EQ(flags, 8u);
                EXPECT_EQ(type, nullptr);
                EXPECT_EQ(*size, 5u);
                std::memcpy(data, "\7\7", 2);
                *size = 2;
                return LSTATUS{ERROR_SUCCESS};
              }});
  EXPECT_EQ(Kuv::ReadRegistryBinary(HKEY_CURRENT_USER, L"sub", L"name"), (Bytes{7, 7, 0, 0, 0}));
}

TEST_F(RegistryOperations, SecondReadOfBytesThatFailsThrows) {
  key.SetBytes(L"v", REG_BINARY, "abc", 3);
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.AnswerCall(2, [](auto&&...) { return LSTATUS{ERROR_MORE_DATA}; });
  ExpectError([] { Kuv::ReadRegistryBinary(HKEY_LOCAL_MACHINE, kPath, L"v"); }, 234,
              "Unable to read data from registry.");
}

TEST_F(RegistryOperations, ReadsAText) {
  key.SetText(L"v", L"some text");
  EXPECT_EQ(Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"v"), L"some text");
}

TEST_F(RegistryOperations, ReadsALongTextAndAnEmptyOne) {
  const std::wstring text(5000, L'x');
  key.SetText(L"long", text);
  key.SetText(L"empty", L"");
  EXPECT_EQ(Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"long"), text);
  EXPECT_EQ(Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"empty"), L"");
}

TEST_F(RegistryOperations, TextOfMissingValueThrows) {
  ExpectError([] { Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"v"); }, 2,
              "Unable to read data size from registry.");
}

TEST_F(RegistryOperations, TextOfAnotherTypeThrows) {
  key.SetDword(L"v", 1);
  ExpectError([] { Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"v"); }, 1630,
              "Unable to read data size from registry.");
}

TEST_F(RegistryOperations, TextIsMeasuredThenReadAndNotShrunk) {
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.Script({[](HKEY root, const wchar_t* subKey, const wchar_t* name, DWORD flags, DWORD* type, void* data,
                 DWORD* size) {
                EXPECT_EQ(root, HKEY_CURRENT_USER);
                EXPECT_STREQ(subKey, L"sub");
                EXPECT_STREQ(name, L"name");
                EXPECT_EQ(flags, 2u);
                EXPECT_EQ(type, nullptr);
                EXPECT_EQ(data, nullptr);
                *size = 10;
                return LSTATUS{ERROR_SUCCESS};
              },
              [](HKEY root, const wchar_t* subKey, const wchar_t* name, DWORD flags, DWORD* type, void* data,
                 DWORD* size) {
                EXPECT_EQ(root, HKEY_CURRENT_USER);
                EXPECT_STREQ(subKey, L"sub");
                EXPECT_STREQ(name, L"name");
                EXPECT_EQ(flags, 2u);
                EXPECT_EQ(type, nullptr);
                EXPECT_EQ(*size, 10u);
                std::memcpy(data, L"ab", 6);
                *size = 6;
                return LSTATUS{ERROR_SUCCESS};
              }});
  EXPECT_EQ(Kuv::ReadRegistryString(HKEY_CURRENT_USER, L"sub", L"name"), (std::wstring{L"ab\0\0", 4}));
}

// Sizes that are no whole text: the platform may fill every byte it was offered.
TEST_F(RegistryOperations, TextOfAnySizeStaysWithinItsBuffer) {
  for (DWORD told = 0; told < 70; ++told) {
    SCOPED_TRACE(told);
    KUV_IMPORT_HOOK(get, RegGetValueW);
    get.Answer([&](HKEY, const wchar_t*, const wchar_t*, DWORD, DWORD*, void* data, DWORD* size) {
      *size = told;
      if (data != nullptr) std::memset(data, 'x', told);
      return LSTATUS{ERROR_SUCCESS};
    });
    const std::size_t units = told < 4 ? 0 : told / 2 - 1;
    EXPECT_EQ(Kuv::ReadRegistryString(HKEY_CURRENT_USER, L"sub", L"name"), std::wstring(units, L'\x7878'));
  }
}

TEST_F(RegistryOperations, SecondReadOfATextThatFailsThrows) {
  key.SetText(L"v", L"abc");
  KUV_IMPORT_HOOK(get, RegGetValueW);
  get.AnswerCall(2, [](auto&&...) { return LSTATUS{ERROR_MORE_DATA}; });
  ExpectError([] { Kuv::ReadRegistryString(HKEY_LOCAL_MACHINE, kPath, L"v"); }, 234,
              "Unable to read string from registry.");
}

}  // namespace
