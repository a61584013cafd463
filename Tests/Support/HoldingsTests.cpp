#include "Support/Holdings.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace {

using KuvTest::CountHoldings;
using KuvTest::Holdings;

TEST(Holdings, StayEqualInAnIdleProcess) {
  CountHoldings();
  const Holdings before = CountHoldings();
  EXPECT_NE(before.handles, 0U);
  EXPECT_NE(before.privateBytes, 0U);
  EXPECT_EQ(CountHoldings(), before);
}

TEST(Holdings, CountEveryHandle) {
  CountHoldings();
  const Holdings before = CountHoldings();
  const HANDLE handle = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(CountHoldings().handles, before.handles + 1);
  ::CloseHandle(handle);
  EXPECT_EQ(CountHoldings().handles, before.handles);
}

TEST(Holdings, CountEveryPrivatePage) {
  CountHoldings();
  const Holdings before = CountHoldings();
  constexpr std::size_t kBytes = 3 * 4096;
  void* const pages = ::VirtualAlloc(nullptr, kBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  EXPECT_EQ(CountHoldings().privateBytes, before.privateBytes + kBytes);
  ::VirtualFree(pages, 0, MEM_RELEASE);
  EXPECT_EQ(CountHoldings().privateBytes, before.privateBytes);
}

}  // namespace
