#pragma once

#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "Tools/FilterCheck/SettingsFixture.h"

namespace KuvTest {

/// One change to the stored settings of a machine without findings.
using Change = std::function<void(const TestKey& local, const TestKey& policy)>;

inline constexpr auto kNote = FilterCheck::Severity::Note;
inline constexpr auto kWarning = FilterCheck::Severity::Warning;
inline constexpr auto kProblem = FilterCheck::Severity::Problem;

/// One change and the findings that it causes. The fields after `ids` describe the first finding.
struct FindingRow {
  const char* name;
  Change change;
  const char* ids = "";  ///< separated by spaces, empty for no findings
  FilterCheck::Severity severity = kNote;
  const char* subject = "";
  const char* text = "";    ///< a part of the text
  const char* advice = "";  ///< a part of the advice
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

inline Change PolicyList(const std::vector<std::wstring>& entries) {
  return [=](const TestKey&, const TestKey& policy) { policy.SetTexts(L"ProvidersWhitelist", entries); };
}

/// Stores exactly this number of bytes. The unit after them is not a NUL, which the platform would store too.
inline Change LocalBytes(const wchar_t* name, DWORD type, const std::wstring& units, std::size_t bytes) {
  return [=](const TestKey& local, const TestKey&) {
    const std::wstring data = units + L"\xFFFF";
    local.SetBytes(name, type, data.data(), bytes);
  };
}

inline Change LocalDelete(const wchar_t* name) {
  return [=](const TestKey& local, const TestKey&) { local.DeleteValue(name); };
}

inline Change DeletePolicyKey() {
  return [](const TestKey&, const TestKey& policy) { policy.Delete(); };
}

inline Change Both(const Change& first, const Change& second) {
  return [=](const TestKey& local, const TestKey& policy) {
    first(local, policy);
    second(local, policy);
  };
}

/// Applies one change after the other to a machine without findings, and compares the findings.
class Findings : public SettingsFixture {
 protected:
  void ExpectRows(const std::vector<FindingRow>& rows) const {
    for (const FindingRow& row : rows) {
      SCOPED_TRACE(row.name);
      row.change(registry.Local(), registry.Policy());
      const FilterCheck::Situation situation = FilterCheck::Examine();
      std::istringstream ids{row.ids};
      EXPECT_EQ(IdsOf(situation), (std::vector<std::string>{std::istream_iterator<std::string>{ids}, {}}));
      if (*row.ids != '\0' && !situation.findings.empty()) ExpectFinding(situation.findings.front(), row);
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
