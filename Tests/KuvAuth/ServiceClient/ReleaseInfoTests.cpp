#include <cstring>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/ClientIdentity.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using Kuv::Util::GetWindows10ReleaseInfo;
using KuvTest::LogLines;
using KuvTest::TestKey;

constexpr std::uint32_t kBefore = 55;

class ReleaseInfo : public KuvTest::KuvFixture {
 protected:
  ReleaseInfo() {
    key.SetText(L"ReleaseId", L"2004");
    key.SetDword(L"UBR", 1288);
    verify.Answer([this](OSVERSIONINFOEXW* record, DWORD types, DWORDLONG condition) {
      verified = *record;
      verifiedTypes = types;
      verifiedCondition = condition;
      return TRUE;
    });
  }
  ~ReleaseInfo() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  void ExpectFound(std::uint32_t expectedRelease, std::uint32_t expectedRevision) {
    EXPECT_TRUE(GetWindows10ReleaseInfo(release, revision));
    EXPECT_EQ(release, expectedRelease);
    EXPECT_EQ(revision, expectedRevision);
  }

  void ExpectNothing() {
    EXPECT_FALSE(GetWindows10ReleaseInfo(release, revision));
    EXPECT_EQ(release, kBefore);
    EXPECT_EQ(revision, kBefore);
  }

  TestKey key{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"};
  std::uint32_t release = kBefore;
  std::uint32_t revision = kBefore;
  OSVERSIONINFOEXW verified{};
  DWORD verifiedTypes = 0;
  DWORDLONG verifiedCondition = 0;
  KuvTest::ImportHook<decltype(&::VerifyVersionInfoW)> verify{"VerifyVersionInfoW"};
  KuvTest::ImportHook<decltype(&::RegCloseKey)> close{"RegCloseKey"};
};

TEST_F(ReleaseInfo, ReadsBothNumbers) {
  ExpectFound(2004, 1288);
}

TEST_F(ReleaseInfo, ChecksForVersion10OrLater) {
  KUV_IMPORT_HOOK(mask, VerSetConditionMask);
  std::vector<std::pair<DWORD, int>> conditions;
  mask.Answer([&](ULONGLONG before, DWORD type, BYTE condition) {
    conditions.emplace_back(type, condition);
    return before * 10 + conditions.size();
  });
  ExpectFound(2004, 1288);
  EXPECT_EQ(conditions, (std::vector<std::pair<DWORD, int>>{{2, 3}, {1, 3}, {0x20, 3}}));
  EXPECT_EQ(verifiedCondition, 123u);
  EXPECT_EQ(verifiedTypes, 0x23u);
  OSVERSIONINFOEXW expected{};
  expected.dwOSVersionInfoSize = 284;
  expected.dwMajorVersion = 10;
  EXPECT_EQ(std::memcmp(&verified, &expected, sizeof(expected)), 0);
}

TEST_F(ReleaseInfo, ReadsNothingOnAnOlderSystem) {
  verify.Answer([](auto&&...) { return FALSE; });
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  ExpectNothing();
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(ReleaseInfo, OpensTheKeyForQueriesOnlyAndClosesIt) {
  HKEY opened = nullptr;
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  open.Answer([&](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* result) {
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_STREQ(path, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
    EXPECT_EQ(options, 0u);
    EXPECT_EQ(access, 1u);
    const LSTATUS status = open.Original(root, path, options, access, result);
    opened = *result;
    return status;
  });
  const std::size_t before = close.CallCount();
  ExpectFound(2004, 1288);
  ASSERT_EQ(close.CallCount(), before + 1);
  EXPECT_EQ(std::get<0>(close.Calls().back()), opened);
}

TEST_F(ReleaseInfo, FailsWithoutBothValuesInTheirTypesAndClosesTheKey) {
  const struct {
    const char* name;
    const wchar_t* value;
    DWORD type;  // with no data: the value is missing
    const void* data;
    std::size_t size;
  } rows[] = {
      {"no ReleaseId", L"ReleaseId", REG_NONE, nullptr, 0},
      {"ReleaseId as number", L"ReleaseId", REG_DWORD, "\xD4\x07\0", 4},
      {"ReleaseId as expanded text", L"ReleaseId", REG_EXPAND_SZ, L"2004", 10},
      {"ReleaseId of no bytes", L"ReleaseId", REG_SZ, "", 0},
      {"no UBR", L"UBR", REG_NONE, nullptr, 0},
      {"UBR as bytes", L"UBR", REG_BINARY, "\1\2\3\4", 4},
      {"UBR of no bytes", L"UBR", REG_DWORD, "", 0},
      {"UBR as QWORD", L"UBR", REG_QWORD, "\1\0\0\0\0\0\0\0", 8},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    key.SetText(L"ReleaseId", L"2004");
    key.SetDword(L"UBR", 1288);
    if (row.data == nullptr) {
      key.DeleteValue(row.value);
    } else {
      key.SetBytes(row.value, row.type, row.data, row.size);
    }
    const std::size_t before = close.CallCount();
    ExpectNothing();
    EXPECT_EQ(close.CallCount(), before + 1);
  }
  key.Delete();
  const std::size_t before = close.CallCount();
  ExpectNothing();
  EXPECT_EQ(close.CallCount(), before) << "no key";
}

TEST_F(ReleaseInfo, AcceptsAShortUpdateRevision) {
  key.SetBytes(L"UBR", REG_DWORD, "\1\2", 2);
  ExpectFound(2004, 0x0201);
}

TEST_F(ReleaseInfo, AcceptsReleaseIdOfUpTo1023Bytes) {
  key.SetText(L"ReleaseId", std::wstring(1018, L' ') + L"1909");
  ExpectFound(1909, 1288);
  release = revision = kBefore;
  key.SetText(L"ReleaseId", std::wstring(1019, L' ') + L"1909");
  ExpectNothing();
}

TEST_F(ReleaseInfo, ParsesReleaseIdAsStrtoulDoes) {
  const std::pair<const wchar_t*, std::uint32_t> rows[] = {
      {L"2009", 2009},
      {L" \t2009", 2009},
      {L"0x10", 16},
      {L"0X1f", 31},
      {L"010", 8},
      {L"20H2", 20},
      {L"abc", 0},
      {L" ", 0},
      {L"-1", 4294967295u},
      {L"+7", 7},
      {L"0", 0},
      {L"4294967295", 4294967295u},
      {L"99999999999", 4294967295u},
  };
  for (const auto& [text, number] : rows) {
    SCOPED_TRACE(::testing::PrintToString(text));
    key.SetText(L"ReleaseId", text);
    ExpectFound(number, 1288);
  }
}

// Replaces the platform's answer for the text.
class ReleaseInfoAnswers : public ReleaseInfo {
 protected:
  void AnswerReleaseId(const std::string& text, DWORD size) {
    query.Answer(
        [=, this](HKEY asked, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* offered) {
          if (std::strcmp(name, "ReleaseId") != 0) {
            EXPECT_STREQ(name, "UBR");
            EXPECT_EQ(*type, 4u);
            EXPECT_EQ(*offered, 4u);
            EXPECT_EQ(std::vector<BYTE>(data, data + 4), std::vector<BYTE>(4));
            return query.Original(asked, name, reserved, type, data, offered);
          }
          EXPECT_EQ(*type, 1u);
          EXPECT_EQ(*offered, 1023u);
          EXPECT_EQ(std::vector<BYTE>(data, data + 1024), std::vector<BYTE>(1024));
          std::memcpy(data, text.data(), text.size());
          *type = REG_SZ;
          *offered = size;
          return LSTATUS{ERROR_SUCCESS};
        });
  }

  KuvTest::ImportHook<decltype(&::RegQueryValueExA)> query{"RegQueryValueExA"};
};

TEST_F(ReleaseInfoAnswers, TextEndsAtTheReportedSize) {
  AnswerReleaseId("200499", 4);
  ExpectFound(2004, 1288);
}

TEST_F(ReleaseInfoAnswers, ReportedSizeAboveTheBufferIsIgnored) {
  AnswerReleaseId(std::string(1020, ' ') + "123", 0xFFFFFFFF);
  ExpectFound(123, 1288);
}

}  // namespace
