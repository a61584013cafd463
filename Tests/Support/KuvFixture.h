#pragma once

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/Configuration.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"

namespace KuvTest {

/// The base of most tests: an empty registry, an unloaded configuration and a captured log at Trace.
/// `log.Clear()` drops the lines that the set-up caused.
class KuvFixture : public ::testing::Test {
 protected:
  KuvFixture() { *GetConfiguration() = Configuration{}; }
  ~KuvFixture() override { *GetConfiguration() = Configuration{}; }

  RegistrySandbox registry;
  LogCapture log;
};

}  // namespace KuvTest
