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
    const Kuv::Signing::Result<Kuv::Signing::SignedRequest> result = Kuv::Signing::Sign(request, credentials);
    if (!result) return result.GetFailure();
    ADD_FAILURE() << "signed: " << result->canonicalText;
    return {};
  }

  LogCapture log;
  Kuv::Signing::Credentials credentials = SampleCredentials();
};

}  // namespace KuvTest
