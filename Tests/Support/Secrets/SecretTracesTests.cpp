#include "Support/Secrets/SecretTraces.h"

#include <windows.h>

#include <cstring>
#include <memory>

#include <gtest/gtest.h>

namespace {

using KuvTest::FindSecretTraces;
using KuvTest::SecretTraces;

const std::string kSecret = "aB3$xYz~9Qw!kLm#7RtV";

void CopyToStack(bool wipe) {
  char copy[64];
  std::memcpy(copy, kSecret.data(), kSecret.size());
  if (wipe) ::SecureZeroMemory(copy, sizeof(copy));
}

void CopyToHeap(bool wipe) {
  const std::unique_ptr<char[]> copy{new char[64]};
  std::memcpy(copy.get(), kSecret.data() + 7, 5);
  if (wipe) ::SecureZeroMemory(copy.get(), 64);
}

TEST(SecretTraces, FindsACopyOnTheStack) {
  const SecretTraces traces = FindSecretTraces(kSecret, [] { CopyToStack(/*wipe=*/false); });
  EXPECT_EQ(traces.onStack, kSecret.size() - 3);
  EXPECT_EQ(traces.freedBlocks, 0u);
}

TEST(SecretTraces, FindsAPartInAFreedBlock) {
  const SecretTraces traces = FindSecretTraces(kSecret, [] { CopyToHeap(/*wipe=*/false); });
  EXPECT_EQ(traces.onStack, 0u);
  EXPECT_EQ(traces.freedBlocks, 1u);
}

TEST(SecretTraces, FindsNothingThatWasWiped) {
  const SecretTraces traces = FindSecretTraces(kSecret, [] {
    CopyToStack(/*wipe=*/true);
    CopyToHeap(/*wipe=*/true);
  });
  EXPECT_EQ(traces.onStack, 0u);
  EXPECT_EQ(traces.freedBlocks, 0u);
}

}  // namespace
