#include "Support/GuardedHeap.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <gtest/gtest.h>

namespace {

using KuvTest::GuardedHeap;

constexpr char kCrash[] = "Crashed with exception 0xC0000005";

// The cases run with the guarded heap, in this process or in a child process.
class GuardedHeapTest : public ::testing::Test {
 protected:
  GuardedHeapTest() {
    ::SetEnvironmentVariableW(L"KUV_GUARDED_HEAP", L"1");
    if (!GuardedHeap::IsOn()) GuardedHeap::StartIfAskedFor();
  }
};

// Hides the pointer from the compiler, which rejects some of these accesses.
volatile unsigned char* Bytes(void* block) {
  static void* volatile pointer;
  pointer = block;
  return static_cast<volatile unsigned char*>(pointer);
}

void Free(volatile unsigned char* block) {
  std::free(const_cast<unsigned char*>(block));
}

void Touch(volatile unsigned char* byte) {
  *byte = static_cast<unsigned char>(*byte + 1);
}

TEST_F(GuardedHeapTest, AllowsCorrectUse) {
  for (std::size_t size = 0; size < 9000; size = size * 5 / 4 + 1) {
    SCOPED_TRACE(size);
    void* const block = std::malloc(size);
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(GuardedHeap::Owns(block));
    std::memset(block, 1, size);
    std::free(block);
    EXPECT_FALSE(GuardedHeap::Owns(block));
  }
}

TEST_F(GuardedHeapTest, OwnsTheBlocksOfOperatorNew) {
  const auto object = std::make_unique<int>(1);
  const auto array = std::make_unique<char[]>(100);
  EXPECT_TRUE(GuardedHeap::Owns(object.get()));
  EXPECT_TRUE(GuardedHeap::Owns(array.get()));
}

TEST_F(GuardedHeapTest, OwnsTheBlocksOfThePlatformsAllocators) {
  const HLOCAL block = ::LocalAlloc(LMEM_FIXED | LMEM_ZEROINIT, 20);
  EXPECT_TRUE(GuardedHeap::Owns(block));
  EXPECT_EQ(*Bytes(block), 0);
  EXPECT_EQ(::LocalFree(block), nullptr);
  EXPECT_FALSE(GuardedHeap::Owns(block));
}

TEST_F(GuardedHeapTest, AlignsBlocksOf16BytesAndMore) {
  for (const std::size_t size : {16, 17, 24, 4095, 4096, 4097}) {
    void* const block = std::malloc(size);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u) << size;
    std::free(block);
  }
}

TEST_F(GuardedHeapTest, ZeroesOnlyOnRequest) {
  void* const zeros = std::calloc(3, 5);
  void* const fresh = std::malloc(15);
  for (int i = 0; i < 15; ++i) {
    EXPECT_EQ(Bytes(zeros)[i], 0);
    EXPECT_NE(Bytes(fresh)[i], 0);
  }
  std::free(zeros);
  std::free(fresh);
}

TEST_F(GuardedHeapTest, KeepsTheContentsOnReallocation) {
  void* block = std::realloc(nullptr, 4);
  std::memcpy(block, "abc", 4);
  block = std::realloc(block, 5000);
  EXPECT_STREQ(static_cast<const char*>(block), "abc");
  block = std::realloc(block, 2);
  EXPECT_EQ(std::memcmp(block, "ab", 2), 0);
  EXPECT_TRUE(GuardedHeap::Owns(block));
  std::free(block);
}

TEST_F(GuardedHeapTest, ReturnsNullForHugeSizes) {
  volatile std::size_t huge = SIZE_MAX / 2;
  EXPECT_EQ(std::malloc(huge), nullptr);
  EXPECT_EQ(std::calloc(huge, 4), nullptr);
}

TEST_F(GuardedHeapTest, ForwardsForeignBlocks) {
  char* const copy = ::_strdup("allocated by the runtime itself");
  EXPECT_FALSE(GuardedHeap::Owns(copy));
  std::free(copy);
}

TEST_F(GuardedHeapTest, DetectsAccessPastABlock) {
  for (const std::size_t size : {1, 2, 3, 7, 8, 13, 15, 16, 48, 4096, 8192}) {
    SCOPED_TRACE(size);
    void* const block = std::malloc(size);
    EXPECT_DEATH(Touch(Bytes(block) + size), kCrash);
    Touch(Bytes(block) + size - 1);
    std::free(block);
  }
}

TEST_F(GuardedHeapTest, DetectsAWriteToTheGapOnFree) {
  for (const std::size_t size : {17, 24, 31, 4097}) {
    SCOPED_TRACE(size);
    void* const block = std::malloc(size);
    EXPECT_DEATH(
        {
          Touch(Bytes(block) + size);
          std::free(block);
        },
        "Guarded heap: write after the block");
    EXPECT_DEATH(Touch(Bytes(block) + (size + 15) / 16 * 16), kCrash);
    std::free(block);
  }
}

TEST_F(GuardedHeapTest, DetectsAWriteBeforeABlockOnFree) {
  void* const block = std::malloc(16);
  EXPECT_DEATH(
      {
        Touch(Bytes(block) - 1);
        std::free(block);
      },
      "Guarded heap: write before the block");
  std::free(block);
}

TEST_F(GuardedHeapTest, DetectsUseAfterFree) {
  void* const block = std::malloc(24);
  EXPECT_DEATH(
      {
        volatile unsigned char* const bytes = Bytes(block);
        std::free(block);
        static_cast<void>(*bytes);
      },
      kCrash);
  std::free(block);
}

TEST_F(GuardedHeapTest, DetectsDoubleFree) {
  void* const block = std::malloc(24);
  EXPECT_DEATH(
      {
        volatile unsigned char* const bytes = Bytes(block);
        std::free(block);
        Free(bytes);
      },
      "Guarded heap: freed twice");
  std::free(block);
}

TEST_F(GuardedHeapTest, DetectsFreeOfAnInvalidPointer) {
  void* const block = std::malloc(100);
  volatile unsigned char* const inside = Bytes(block) + 16;
  EXPECT_DEATH(Free(inside), "Guarded heap: freed an invalid pointer");
  std::free(block);
}

}  // namespace
