#include <algorithm>
#include <cstring>
#include <new>

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "RecordFixture.h"
#include "Support/ImportHook.h"
#include "Support/MemoryExhaustion.h"
#include "Support/SecretTraces.h"

namespace {

using KuvTest::kLocalPath;
using KuvTest::kPolicyPath;
using KuvTest::SecretTraces;

// For a heap block, and for the buffer inside a string.
const std::string kSecrets[] = {"aB3$xYz~9Qw!kLm#7RtV^pN&2sDfGh*J", "aB3$xYz~9Qw"};

// The key as an administrator may write it; the load removes the space.
std::string Spaced(const std::string& secret) {
  return " " + secret.substr(0, 5) + " " + secret.substr(5);
}

class SecretKey : public KuvTest::RecordFixture {
 protected:
  void ExpectNoTraces(const std::string& secret, const std::function<void()>& action) {
    const SecretTraces traces = KuvTest::FindSecretTraces(secret, action);
    EXPECT_EQ(traces.freedBlocks, 0u);
    EXPECT_EQ(traces.onStack, 0u);
  }

  // Returns whether the storage of the record's key holds a part of the secret.
  bool Holds(const std::string& secret) const {
    const char* const storage = record.SKey.data();
    const char* const end = storage + record.SKey.capacity();
    return std::search(storage, end, secret.begin(), secret.begin() + 4) != end;
  }
};

TEST_F(SecretKey, LeavesNoTraceOfALoadOutsideTheRecord) {
  for (const std::string& secret : kSecrets) {
    SCOPED_TRACE(secret);
    SetCredentials();
    fake.SetText(kLocalPath, "SKey", Spaced(secret));
    record = Configuration{};
    ExpectNoTraces(secret, [this] { static_cast<void>(record.Load(fake)); });
    EXPECT_EQ(record.SKey, secret);
  }
}

TEST_F(SecretKey, LeavesNoTraceOfAFailedLoad) {
  for (const std::string& secret : kSecrets) {
    SCOPED_TRACE(secret);
    fake.SetText(kLocalPath, "SKey", Spaced(secret));
    ExpectNoTraces(secret, [this] { static_cast<void>(record.Load(fake)); });
    EXPECT_FALSE(record.IsConfigured());
  }
}

TEST_F(SecretKey, LeavesNoTraceOfAQueryThatFailsWithData) {
  fake.SetText(kLocalPath, "SKey", kSecrets[0]);
  fake.FailQuery("SKey", ERROR_MORE_DATA);
  ExpectNoTraces(kSecrets[0], [this] { static_cast<void>(record.Load(fake)); });
  EXPECT_EQ(record.SKey, "");
}

TEST_F(SecretKey, OfTheLocalKeyIsWipedWhenThatOfThePolicyReplacesIt) {
  for (const std::string& secret : kSecrets) {
    for (const std::string& replacement : {std::string{"short"}, std::string(100, '-'), std::string{}}) {
      SCOPED_TRACE(secret + " " + replacement);
      SetCredentials();
      fake.SetText(kLocalPath, "SKey", secret);
      fake.SetText(kPolicyPath, "SKey", replacement);
      record = Configuration{};
      ExpectNoTraces(secret, [this] { static_cast<void>(record.Load(fake)); });
      EXPECT_EQ(record.SKey, replacement);
      EXPECT_FALSE(Holds(secret));
    }
  }
}

TEST_F(SecretKey, IsWipedWhereverALoadRunsOutOfMemory) {
  // Nothing but the load allocates memory.
  registry.Local().SetText(L"Host", L"a-host-of-the-local-key.example.com");
  registry.Local().SetText(L"SKey", {kSecrets[0].begin(), kSecrets[0].end()});
  registry.Policy().SetText(L"Host", L"a-host-of-the-policy-key.example.com");
  registry.Policy().SetText(L"IKey", L"an-identifier-of-the-policy-key");
  log.System().minLevel = LogLevelPlain;
  std::size_t thrown = 0;
  for (std::size_t allocation = 1; allocation < 20; ++allocation) {
    SCOPED_TRACE(allocation);
    record = Configuration{};
    bool failed = false;
    Registry platform;
    const SecretTraces traces = KuvTest::FindSecretTraces(kSecrets[0], [&] {
      const KuvTest::MemoryExhaustion exhaustion{allocation};
      try {
        static_cast<void>(record.Load(platform));
      } catch (const std::bad_alloc&) {
        failed = true;
      }
    });
    // The registry of the platform leaves traces on the stack.
    EXPECT_EQ(traces.freedBlocks, 0u);
    if (!failed) break;
    ++thrown;
    EXPECT_FALSE(Holds(kSecrets[0]));
  }
  EXPECT_GE(thrown, 4u);
}

TEST_F(SecretKey, IsWipedWhenItIsSetAgain) {
  for (const std::string& secret : kSecrets) {
    for (const std::string& replacement : {std::string{"short"}, std::string(100, '-'), std::string{}}) {
      SCOPED_TRACE(secret + " " + replacement);
      Configuration& global = *GetConfiguration();
      global = Configuration{};
      ExpectNoTraces(secret, [&] {
        static_cast<void>(SetServiceCredentials("host", "ikey", secret));
        static_cast<void>(SetServiceCredentials("host", "ikey", replacement));
      });
      EXPECT_EQ(global.SKey, replacement);
      const char* const storage = global.SKey.data();
      const char* const end = storage + global.SKey.capacity();
      EXPECT_EQ(std::search(storage, end, secret.begin() + 5, secret.begin() + 9), end);
    }
  }
}

TEST_F(SecretKey, SurvivesBeingSetToItself) {
  Configuration& global = *GetConfiguration();
  static_cast<void>(SetServiceCredentials("host", "ikey", kSecrets[0]));
  EXPECT_TRUE(SetServiceCredentials(global.Host, global.IKey, global.SKey));
  EXPECT_EQ(global.SKey, kSecrets[0]);
}

TEST_F(SecretKey, ReadAsASettingLeavesNoTraceOutsideTheResult) {
  registry.Local().Create();
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  query.Answer([](HKEY, LPCSTR, LPDWORD, LPDWORD, LPBYTE data, LPDWORD size) -> LSTATUS {
    std::memcpy(data, kSecrets[0].c_str(), kSecrets[0].size() + 1);
    *size = static_cast<DWORD>(kSecrets[0].size()) + 1;
    return ERROR_SUCCESS;
  });
  std::string text;
  ExpectNoTraces(kSecrets[0], [&] { text = GetStringSetting("SKey", "default"); });
  EXPECT_EQ(text, kSecrets[0]);
}

}  // namespace
