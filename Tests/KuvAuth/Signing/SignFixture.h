#pragma once

#include <gtest/gtest.h>

#include "Samples.h"
#include "Support/LogCapture.h"

namespace KuvTest {

/// Requires that signing logs nothing.
class SignRequest : public ::testing::Test {
 protected:
  ~SignRequest() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  Kuv::Signing::Failure FailureOf(const Kuv::Signing::Request& request) const {
    return Kuv::Signing::Sign(request, credentials).GetFailure();
  }

  LogCapture log;
  Kuv::Signing::Credentials credentials = SampleCredentials();
};

}  // namespace KuvTest
