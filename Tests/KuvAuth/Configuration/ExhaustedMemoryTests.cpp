#include <new>

#include <gtest/gtest.h>

#include "RecordFixture.h"
#include "Support/MemoryExhaustion.h"

namespace {

using namespace KuvTest;

// Too long for a string's inline buffer.
constexpr wchar_t kLocalHost[] = L"a-host-of-the-local-key.example.com";
constexpr wchar_t kPolicyHost[] = L"a-host-of-the-policy-key.example.com";

// The log drops every line, so that only the load allocates memory.
class ExhaustedMemoryAtLoad : public KuvFixture {
 protected:
  ExhaustedMemoryAtLoad() {
    log.System().minLevel = LogLevelPlain;
    registry.Local().SetText(L"Host", kLocalHost);
    registry.Local().SetText(L"IKey", L"IKEY");
    registry.Local().SetText(L"SKey", L"SKEY");
    registry.Policy().SetText(L"Host", kPolicyHost);
    registry.Policy().SetTexts(L"ProvidersWhitelist", {L"{11111111-2222-3333-4444-555555555555}"});
  }

  // Loads with memory for `allocations` - 1 allocations. Returns whether memory ran out.
  bool LoadWithMemoryFor(std::size_t allocations) {
    record = Configuration{};
    const MemoryExhaustion exhaustion{allocations};
    try {
      EXPECT_TRUE(EnsureConfigurationLoaded());
    } catch (const std::bad_alloc&) {
      return true;
    }
    return false;
  }

  Configuration& record = *GetConfiguration();
};

TEST_F(ExhaustedMemoryAtLoad, KeepsTheRecordIncompleteSoThatTheNextCallLoadsIt) {
  std::size_t allocation = 1;
  std::size_t afterTheLocalKey = 0;
  for (; allocation < 100 && LoadWithMemoryFor(allocation); ++allocation) {
    SCOPED_TRACE(allocation);
    // The local key has all required settings.
    if (record.IKey == "IKEY") ++afterTheLocalKey;
    EXPECT_EQ(record.SKey, "");
    EXPECT_FALSE(record.IsConfigured());
    EXPECT_TRUE(EnsureConfigurationLoaded());
    EXPECT_EQ(record.Host, "a-host-of-the-policy-key.example.com");
    EXPECT_EQ(record.SKey, "SKEY");
    EXPECT_EQ(record.ProvidersWhitelist.size(), 1u);
  }
  EXPECT_GE(afterTheLocalKey, 2u);
  EXPECT_LT(allocation, 100u);
}

}  // namespace
