#include "KuvAuth/Support/UniqueResource.h"

#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"

namespace {

struct TokenTraits {
  using Value = int;
  static Value None() noexcept { return -1; }
  static void Close(Value token) noexcept {
    closed.push_back(token);
    ::SetLastError(ERROR_INVALID_HANDLE);
  }
  static inline std::vector<int> closed;
};
using UniqueToken = Kuv::UniqueResource<TokenTraits>;
using Tokens = std::vector<int>;

static_assert(!std::is_copy_constructible_v<UniqueToken> && !std::is_copy_assignable_v<UniqueToken>);
static_assert(std::is_nothrow_move_constructible_v<UniqueToken> &&
              std::is_nothrow_move_assignable_v<UniqueToken>);
static_assert(!std::is_convertible_v<int, UniqueToken> && !std::is_convertible_v<UniqueToken, bool>);

class UniqueResource : public ::testing::Test {
 protected:
  UniqueResource() { TokenTraits::closed.clear(); }

  const Tokens& closed = TokenTraits::closed;
};

TEST_F(UniqueResource, ClosesOnceAtTheEndOfItsScopeUnlessEmpty) {
  {
    const UniqueToken empty;
    EXPECT_EQ(empty.Get(), -1);
    EXPECT_FALSE(empty);
    const UniqueToken token{7};
    EXPECT_EQ(token.Get(), 7);
    EXPECT_TRUE(token);
    EXPECT_EQ(closed, Tokens{});
  }
  EXPECT_EQ(closed, Tokens{7});
  { const UniqueToken zero{0}; }
  EXPECT_EQ(closed, (Tokens{7, 0})) << "zero is not the empty value";
}

TEST_F(UniqueResource, ClosingKeepsTheLastError) {
  UniqueToken token{7};
  ::SetLastError(1234);
  token.Reset();
  EXPECT_EQ(::GetLastError(), 1234u);
  EXPECT_EQ(closed, Tokens{7});
}

TEST_F(UniqueResource, MovingLeavesTheSourceEmpty) {
  {
    UniqueToken from{7};
    const UniqueToken to{std::move(from)};
    EXPECT_EQ(to.Get(), 7);
    EXPECT_EQ(from.Get(), -1);
    EXPECT_EQ(closed, Tokens{});
  }
  EXPECT_EQ(closed, Tokens{7});
}

TEST_F(UniqueResource, MoveAssignmentClosesTheOldValue) {
  {
    UniqueToken from{7};
    UniqueToken to{5};
    to = std::move(from);
    EXPECT_EQ(to.Get(), 7);
    EXPECT_EQ(from.Get(), -1);
    EXPECT_EQ(closed, Tokens{5});
  }
  EXPECT_EQ(closed, (Tokens{5, 7}));
}

TEST_F(UniqueResource, AssignmentToItselfKeepsTheValue) {
  UniqueToken token{7};
  UniqueToken& same = token;
  token = std::move(same);
  EXPECT_EQ(token.Get(), 7);
  EXPECT_EQ(closed, Tokens{});
}

TEST_F(UniqueResource, PutClosesTheOldValueAndOwnsTheNewOne) {
  {
    UniqueToken token{5};
    int* const address = token.Put();
    EXPECT_EQ(closed, Tokens{5});
    EXPECT_EQ(*address, -1);
    *address = 7;
    EXPECT_EQ(token.Get(), 7);
  }
  EXPECT_EQ(closed, (Tokens{5, 7}));
}

TEST_F(UniqueResource, ReleaseReturnsTheValueWithoutClosing) {
  {
    UniqueToken token{7};
    EXPECT_EQ(token.Release(), 7);
    EXPECT_FALSE(token);
  }
  EXPECT_EQ(closed, Tokens{});
}

TEST_F(UniqueResource, ResetClosesTheOldValueAndOwnsTheNewOne) {
  UniqueToken token{5};
  token.Reset(7);
  EXPECT_EQ(token.Get(), 7);
  EXPECT_EQ(closed, Tokens{5});
  token.Reset();
  token.Reset();
  EXPECT_EQ(closed, (Tokens{5, 7}));
}

TEST(UniqueRegistryKey, IsClosedWithRegCloseKey) {
  HKEY opened = nullptr;
  KUV_IMPORT_HOOK(close, RegCloseKey);
  {
    Kuv::UniqueRegistryKey key;
    EXPECT_FALSE(key);
    ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, key.Put()), ERROR_SUCCESS);
    opened = key.Get();
  }
  EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HKEY>>{{opened}}));
}

TEST(UniqueFile, IsEmptyWithTheInvalidHandleAndClosedWithCloseHandle) {
  HANDLE opened = nullptr;
  KUV_IMPORT_HOOK(close, CloseHandle);
  {
    const Kuv::UniqueFile none;
    EXPECT_EQ(none.Get(), INVALID_HANDLE_VALUE);
    EXPECT_FALSE(none);
    const Kuv::UniqueFile file{
        ::CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)};
    ASSERT_TRUE(file);
    opened = file.Get();
  }
  EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HANDLE>>{{opened}}));
}

TEST(UniqueLocalMemory, IsFreedWithLocalFree) {
  HLOCAL block = nullptr;
  KUV_IMPORT_HOOK(release, LocalFree);
  {
    const Kuv::UniqueLocalMemory<void> memory{::LocalAlloc(LMEM_FIXED, 16)};
    ASSERT_TRUE(memory);
    block = memory.Get();
  }
  EXPECT_EQ(release.Calls(), (std::vector<std::tuple<HLOCAL>>{{block}}));
}

}  // namespace
