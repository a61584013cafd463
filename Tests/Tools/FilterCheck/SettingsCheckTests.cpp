#include <filesystem>

#include <gmock/gmock.h>

#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::ExamineAssuming;
using FilterCheck::FindSetting;
using FilterCheck::Situation;
using FilterCheck::Source;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SettingsCheck : public SettingsFixture {};

TEST_F(SettingsCheck, GoodSettingsHaveNoFindings) {
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
  std::puts(Describe(Examine()).c_str());
}

TEST_F(SettingsCheck, WhatIf) {
  const FilterCheck::Assumption assumption{FindSetting("RdpOnly"), L"1"};
  const std::string before = Snapshot();
  std::puts(Describe(ExamineAssuming({&assumption, 1})).c_str());
  EXPECT_EQ(Snapshot(), before);
  EXPECT_EQ(before, "");
}

}  // namespace
