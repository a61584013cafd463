#include <algorithm>
#include <cstring>
#include <new>

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/Configuration/SettingReader.h"
#include "RecordFixture.h"
#include "Support/ImportHook.h"
#include "Support/MemoryExhaustion.h"
#include "Support/Secrets/SecretTraces.h"

namespace {

using KuvTest::kLocalPath;
using KuvTest::kPolicyPath;
using KuvTest::SecretTraces;

// For a heap block, and for the buffer inside a string.
const std::string kSecrets[] = {"aB3$xYz~9Qw!kLm#7RtV^pN&2sDfGh*J", "aB3$xYz~9Qw"};

// The key as an administrator may write it. The load removes the spaces, which moves the rest.
std::string Spaced(const std::string& secret) {
  return "    " + secret.substr(0, 5) + "    " + secret.substr(5);
}

// Returns whether the storage of a text holds 4 bytes of the secret, also after its end.
bool Holds(const std::string& text, const std::string& secret) {
  constexpr std::ptrdiff_t kPart = 4;
  const char* const end = text.data() + text.capacity();
  for (auto part = secret.begin(); secret.end() - part >= kPart; ++part) {
    if (std::search(text.data(), end, part, part + kPart) != end) return true;
  }
  return false;
}

class SecretKey : public KuvTest::RecordFixture {
 protected:
  void ExpectNoTraces(const std::string& secret, const std::function<void()>& action) {
    const SecretTraces traces = KuvTest::FindSecretTraces(secret, action);
    EXPECT_EQ(traces.freedBlocks, 0u);
    EXPECT_EQ(traces.onStack, 0u);
  }
};

TEST_F(SecretKey, LeavesNoTraceOfALoadOutsideTheRecord) {
  for (const std::string& secret : kSecrets) {
    SCOPED_TRACE(secret);
    SetCredentials();
    fake.SetText(kLocalPath, "SKey", Spaced(secret));
    Configuration loaded;
    ExpectNoTraces(secret, [&] { static_cast<void>(loaded.Load(fake)); });
    EXPECT_EQ(loaded.SKey, secret);
  }
}

TEST_F(SecretKey, LeavesNoTraceOfAFailedLoad) {
  for (const std::string& secret : kSecrets) {
    SCOPED_TRACE(secret);
    fake.SetText(kLocalPath, "SKey", Spaced(secret));
    Configuration loaded;
    ExpectNoTraces(secret, [&] { static_cast<void>(loaded.Load(fake)); });
    EXPECT_FALSE(loaded.IsConfigured());
  }
}

// A load reads further texts, which overwrite the buffer.
TEST_F(SecretKey, ReadFromAKeyLeavesNoTraceOutsideTheResult) {
  for (const LSTATUS status : {ERROR_SUCCESS, ERROR_MORE_DATA}) {
    SCOPED_TRACE(status);
    fake.SetText(kLocalPath, "SKey", kSecrets[0]);
    fake.FailQuery("SKey", status);
    HKEY key = nullptr;
    ASSERT_EQ(fake.OpenKeyA(HKEY_LOCAL_MACHINE, kLocalPath.c_str(), 0, KEY_QUERY_VALUE, &key), ERROR_SUCCESS);
    std::string text;
    ExpectNoTraces(kSecrets[0], [&] {
      EXPECT_EQ((Kuv::SettingReader{fake, key}.ReadText("SKey", text)), status == ERROR_SUCCESS);
    });
    EXPECT_EQ(text, status == ERROR_SUCCESS ? kSecrets[0] : "");
    fake.CloseKey(key);
  }
}

TEST_F(SecretKey, OfTheLocalKeyIsWipedWhenThatOfThePolicyReplacesIt) {
  for (const std::string& secret : kSecrets) {
    for (const std::string& replacement : {std::string{"short"}, std::string(100, '-'), std::string{}}) {
      SCOPED_TRACE(secret + " " + replacement);
      SetCredentials();
      fake.SetText(kLocalPath, "SKey", secret);
      fake.SetText(kPolicyPath, "SKey", replacement);
      Configuration loaded;
      ExpectNoTraces(secret, [&] { static_cast<void>(loaded.Load(fake)); });
      EXPECT_EQ(loaded.SKey, replacement);
      EXPECT_FALSE(Holds(loaded.SKey, secret));
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
    Configuration loaded;
    bool failed = false;
    Registry platform;
    const SecretTraces traces = KuvTest::FindSecretTraces(kSecrets[0], [&] {
      const KuvTest::MemoryExhaustion exhaustion{allocation};
      try {
        static_cast<void>(loaded.Load(platform));
      } catch (const std::bad_alloc&) {
        failed = true;
      }
    });
    // The registry of the platform leaves traces on the stack.
    EXPECT_EQ(traces.freedBlocks, 0u);
    if (!failed) break;
    ++thrown;
    EXPECT_FALSE(Holds(loaded.SKey, kSecrets[0]));
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
      EXPECT_FALSE(Holds(global.SKey, secret));
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
