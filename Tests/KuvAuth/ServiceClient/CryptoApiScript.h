#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"

namespace KuvTest {

/// Replaces the CryptoAPI: returns handles (provider 101, hashes 201 and 202, key 301), records every call
/// with its arguments, in order, and can fail one of them. The value of every hash is "the-value".
class CryptoApiScript {
 public:
  static constexpr char kValue[] = "the-value";
  static constexpr DWORD kValueSize = sizeof(kValue) - 1;

  CryptoApiScript() {
    acquire_.Answer(
        [this](HCRYPTPROV* provider, const wchar_t* container, const wchar_t* name, DWORD type, DWORD flags) {
          EXPECT_EQ(container, nullptr);
          EXPECT_EQ(name, nullptr);
          EXPECT_EQ(flags, 0xF0000000u);
          if (!Step("acquire " + std::to_string(type))) return FALSE;
          *provider = 101;
          return TRUE;
        });
    createHash_.Answer(
        [this](HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags, HCRYPTHASH* hash) {
          EXPECT_EQ(provider, 101u);
          EXPECT_EQ(flags, 0u);
          if (!Step("create hash " + Hexadecimal(algorithm) + " with key " + std::to_string(key)))
            return FALSE;
          *hash = 201 + hashes_++;
          return TRUE;
        });
    importKey_.Answer([this](HCRYPTPROV provider, const BYTE* data, DWORD size, HCRYPTKEY publicKey,
                             DWORD flags, HCRYPTKEY* key) {
      EXPECT_EQ(provider, 101u);
      EXPECT_EQ(publicKey, 0u);
      EXPECT_EQ(flags, 0x100u);
      blobAddress = data;
      blobSize = size;
      // The size may have been truncated below that of the header.
      blob.assign(data, data + (size < 12 ? 12 : size));
      if (!Step("import key")) return FALSE;
      *key = 301;
      return TRUE;
    });
    setParam_.Answer([this](HCRYPTHASH hash, DWORD parameter, const BYTE* data, DWORD flags) {
      EXPECT_EQ(parameter, 5u);
      EXPECT_EQ(flags, 0u);
      HMAC_INFO info{};
      std::memcpy(&info, data, sizeof(info));
      EXPECT_EQ(info.HashAlgid, 0x8004u);
      EXPECT_EQ(info.pbInnerString, nullptr);
      EXPECT_EQ(info.cbInnerString, 0u);
      EXPECT_EQ(info.pbOuterString, nullptr);
      EXPECT_EQ(info.cbOuterString, 0u);
      return Step("set HMAC info of " + std::to_string(hash)) ? TRUE : FALSE;
    });
    hashData_.Answer([this](HCRYPTHASH hash, const BYTE* data, DWORD size, DWORD flags) {
      EXPECT_EQ(flags, 0u);
      hashed.assign(data, data + size);
      return Step("hash data with " + std::to_string(hash)) ? TRUE : FALSE;
    });
    getParam_.Answer([this](HCRYPTHASH hash, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
      EXPECT_EQ(parameter, 2u);
      EXPECT_EQ(flags, 0u);
      if (data == nullptr) {
        if (!Step("get length of " + std::to_string(hash))) return FALSE;
        *size = valueLength;
        return TRUE;
      }
      EXPECT_EQ(*size, valueLength);
      EXPECT_EQ(std::vector<BYTE>(data, data + *size), std::vector<BYTE>(*size)) << "not filled with zeros";
      std::memcpy(data, kValue, kValueSize);
      *size = kValueSize;
      return Step("get value of " + std::to_string(hash)) ? TRUE : FALSE;
    });
    destroyHash_.Answer([this](HCRYPTHASH hash) { return Release("destroy hash " + std::to_string(hash)); });
    destroyKey_.Answer([this](HCRYPTKEY key) { return Release("destroy key " + std::to_string(key)); });
    release_.Answer([this](HCRYPTPROV provider, DWORD flags) {
      EXPECT_EQ(flags, 0u);
      return Release("release " + std::to_string(provider));
    });
  }

  /// Selects the n-th call (the first is 1; releases do not count) to fail with this code.
  void Fail(int step, DWORD code) {
    failing_ = step;
    code_ = code;
  }

  std::vector<std::string> events;  ///< the calls, in order
  std::vector<BYTE> blob;           ///< the imported key blob
  const void* blobAddress = nullptr;
  DWORD blobSize = 0;
  std::string hashed;
  DWORD valueLength = kValueSize;  ///< the length reported before the value is read

 private:
  static std::string Hexadecimal(ALG_ID algorithm) {
    char text[16];
    std::snprintf(text, sizeof(text), "%04X", static_cast<unsigned>(algorithm));
    return text;
  }

  bool Step(const std::string& event) {
    events.push_back(event);
    if (++steps_ != failing_) return true;
    ::SetLastError(code_);
    return false;
  }

  // Changes the last error, so that code that reads it too late fails.
  BOOL Release(const std::string& event) {
    events.push_back(event);
    ::SetLastError(99);
    return TRUE;
  }

  int steps_ = 0;
  int failing_ = 0;
  DWORD code_ = 0;
  HCRYPTHASH hashes_ = 0;
  ImportHook<decltype(&::CryptAcquireContextW)> acquire_{"CryptAcquireContextW"};
  ImportHook<decltype(&::CryptCreateHash)> createHash_{"CryptCreateHash"};
  ImportHook<decltype(&::CryptImportKey)> importKey_{"CryptImportKey"};
  ImportHook<decltype(&::CryptSetHashParam)> setParam_{"CryptSetHashParam"};
  ImportHook<decltype(&::CryptHashData)> hashData_{"CryptHashData"};
  ImportHook<decltype(&::CryptGetHashParam)> getParam_{"CryptGetHashParam"};
  ImportHook<decltype(&::CryptDestroyHash)> destroyHash_{"CryptDestroyHash"};
  ImportHook<decltype(&::CryptDestroyKey)> destroyKey_{"CryptDestroyKey"};
  ImportHook<decltype(&::CryptReleaseContext)> release_{"CryptReleaseContext"};
};

}  // namespace KuvTest
