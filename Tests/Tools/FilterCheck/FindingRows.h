#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "Tools/FilterCheck/SettingsFixture.h"

namespace KuvTest {

/// What is stored of one setting beside a machine that is as it should be.
using Change = std::function<void(const TestKey& local, const TestKey& policy)>;

/// One change, and the findings that it makes; the rest tells of the first.
struct FindingRow {
  const char* name;
  Change change;
  std::vector<std::string> ids;
  FilterCheck::Severity severity;
  const char* subject;
  const char* text;    ///< part of it
  const char* advice;  ///< part of it
};

inline Change LocalDword(const wchar_t* name, std::uint32_t number) {
  return [=](const TestKey& local, const TestKey&) { local.SetDword(name, number); };
}

inline Change PolicyDword(const wchar_t* name, std::uint32_t number) {
  return [=](const TestKey&, const TestKey& policy) { policy.SetDword(name, number); };
}

inline Change LocalText(const wchar_t* name, const std::wstring& text) {
  return [=](const TestKey& local, const TestKey&) { local.SetText(name, text); };
}

inline Change PolicyText(const wchar_t* name, const std::wstring& text) {
  return [=](const TestKey&, const TestKey& policy) { policy.SetText(name, text); };
}

inline Change LocalList(const std::vector<std::wstring>& entries) {
  return [=](const TestKey& local, const TestKey&) { local.SetTexts(L"ProvidersWhitelist", entries); };
}

/// Of these bytes and no more: behind them stands what is no NUL, which the platform would store too.
inline Change LocalBytes(const wchar_t* name, DWORD type, const std::wstring& units, std::size_t bytes) {
  return [=](const TestKey& local, const TestKey&) {
    const std::wstring data = units + L"\xFFFF";
    local.SetBytes(name, type, data.data(), bytes);
  };
}

inline Change LocalDelete(const wchar_t* name) {
  return [=](const TestKey& local, const TestKey&) { local.DeleteValue(name); };
}

inline Change Both(const Change& first, const Change& second) {
  return [=](const TestKey& local, const TestKey& policy) {
    first(local, policy);
    second(local, policy);
  };
}

/// Makes findings, each by one change to a machine that has none, and sees them go with it.
class Findings : public SettingsFixture {
 protected:
  // Each row starts from the same machine.
  void ExpectRows(const std::vector<FindingRow>& rows) const {
    for (const FindingRow& row : rows) {
      SCOPED_TRACE(row.name);
      row.change(registry.Local(), registry.Policy());
      const FilterCheck::Situation situation = FilterCheck::Examine();
      EXPECT_EQ(IdsOf(situation), row.ids);
      if (!row.ids.empty() && !situation.findings.empty()) ExpectFinding(situation.findings.front(), row);
      Restore();
    }
  }

  static void ExpectFinding(const FilterCheck::Finding& finding, const FindingRow& row) {
    EXPECT_EQ(finding.severity, row.severity);
    EXPECT_EQ(finding.subject, row.subject);
    EXPECT_THAT(finding.text, ::testing::HasSubstr(row.text));
    EXPECT_THAT(finding.advice, ::testing::HasSubstr(row.advice));
  }

  void Restore() const {
    for (const TestKey& key : {registry.Local(), registry.Policy()}) {
      if (key.Exists()) key.Delete();
    }
    WriteGoodSettings();
    ASSERT_THAT(IdsOf(FilterCheck::Examine()), ::testing::IsEmpty());
  }
};

}  // namespace KuvTest
