#pragma once

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/Configuration.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"

namespace KuvTest {

/// An empty registry, an unloaded configuration and a main log that drops every line that the library
/// writes. Tests call functions that log and expect the same results as with a log; a line that reaches a
/// handler fails the test.
class SilentLogFixture : public ::testing::Test {
 protected:
  SilentLogFixture() { *GetConfiguration() = Configuration{}; }
  ~SilentLogFixture() override {
    *GetConfiguration() = Configuration{};
    EXPECT_TRUE(log.RawLines().empty());
  }

  RegistrySandbox registry;
  LogCapture log{LogLevel::Critical};
};

}  // namespace KuvTest
