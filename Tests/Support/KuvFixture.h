#pragma once

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/Configuration.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"

namespace KuvTest {

/// What most tests stand on: an empty registry, an unloaded configuration and a captured log at Trace.
/// Lines that setting up caused are dropped with `log.Clear()`.
class KuvFixture : public ::testing::Test {
 protected:
  KuvFixture() { *GetConfiguration() = Configuration{}; }
  ~KuvFixture() override { *GetConfiguration() = Configuration{}; }

  RegistrySandbox registry;
  LogCapture log;
};

}  // namespace KuvTest
