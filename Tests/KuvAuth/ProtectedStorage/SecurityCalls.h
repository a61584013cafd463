#pragma once

#include <windows.h>
#include <aclapi.h>

#include <functional>
#include <string>
#include <vector>

#include "AclReader.h"
#include "KuvAuth/ProtectedStorage/SecurityDescriptor.h"
#include "Support/ImportHook.h"

namespace KuvTest {

/// Records the platform calls that create and release a security descriptor, in order, and forwards each
/// except the one that must fail.
class SecurityCalls {
 public:
  SecurityCalls() {
    allocateSid_.Answer([this](SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD s0, DWORD s1, DWORD s2,
                               DWORD s3, DWORD s4, DWORD s5, DWORD s6, DWORD s7, PSID* sid) {
      if (!Passes("AllocateAndInitializeSid")) return FALSE;
      const BOOL result = allocateSid_.Original(authority, count, s0, s1, s2, s3, s4, s5, s6, s7, sid);
      Made(*sid);
      return result;
    });
    localAlloc_.Answer([this](UINT flags, SIZE_T size) -> HLOCAL {
      if (!Passes("LocalAlloc")) return nullptr;
      EXPECT_EQ(flags, 0u);
      EXPECT_EQ(size, 68u);
      const HLOCAL memory = localAlloc_.Original(flags, size);
      Made(memory);
      return memory;
    });
    wellKnownSid_.Answer([this](WELL_KNOWN_SID_TYPE type, PSID domain, PSID sid, DWORD* size) {
      if (!Passes("CreateWellKnownSid")) return FALSE;
      EXPECT_EQ(static_cast<int>(type), 22);
      EXPECT_EQ(domain, nullptr);
      EXPECT_EQ(*size, 68u);
      return wellKnownSid_.Original(type, domain, sid, size);
    });
    setEntries_.Answer([this](ULONG count, EXPLICIT_ACCESS_W* list, ACL* old, ACL** acl) -> DWORD {
      if (!Passes("SetEntriesInAclW")) return failureCode;
      EXPECT_EQ(old, nullptr);
      entries.assign(list, list + count);
      for (const EXPLICIT_ACCESS_W& entry : entries) sids.push_back(SidText(entry.Trustee.ptstrName));
      const DWORD status = setEntries_.Original(count, list, old, acl);
      Made(*acl);
      return status;
    });
    initialize_.Answer([this](void* descriptor, DWORD revision) {
      if (!Passes("InitializeSecurityDescriptor")) return FALSE;
      EXPECT_EQ(revision, 1u);
      return initialize_.Original(descriptor, revision);
    });
    setDacl_.Answer([this](void* descriptor, BOOL present, ACL* acl, BOOL defaulted) {
      if (!Passes("SetSecurityDescriptorDacl")) return FALSE;
      EXPECT_EQ(present, TRUE);
      EXPECT_EQ(defaulted, FALSE);
      return setDacl_.Original(descriptor, present, acl, defaulted);
    });
    setControl_.Answer(
        [this](void* descriptor, SECURITY_DESCRIPTOR_CONTROL interest, SECURITY_DESCRIPTOR_CONTROL bits) {
          if (!Passes("SetSecurityDescriptorControl")) return FALSE;
          EXPECT_EQ(interest, 0x1000);
          EXPECT_EQ(bits, 0x1000);
          return setControl_.Original(descriptor, interest, bits);
        });
    isValid_.Answer([this](void* descriptor) {
      return Passes("IsValidSecurityDescriptor") ? isValid_.Original(descriptor) : FALSE;
    });
    freeSid_.Answer([this](PSID sid) {
      Released("FreeSid", sid);
      return freeSid_.Original(sid);
    });
    localFree_.Answer([this](HLOCAL memory) {
      Released("LocalFree", memory);
      return localFree_.Original(memory);
    });
  }

  /// Selects the n-th call (the first is 1) to fail.
  void Fail(std::size_t call) { failing_ = call; }

  DWORD failureCode = 1314;
  std::vector<std::string> calls;
  /// The releases, each with the number of its block in the order of creation.
  std::vector<std::string> releases;
  std::vector<EXPLICIT_ACCESS_W> entries;
  std::vector<std::string> sids;
  std::size_t made() const { return made_.size(); }

 private:
  bool Passes(const char* name) {
    calls.emplace_back(name);
    if (calls.size() != failing_) return true;
    ::SetLastError(failureCode);
    return false;
  }

  void Made(void* block) { made_.push_back(block); }

  void Released(const char* name, void* block) {
    for (std::size_t index = 0; index < made_.size(); ++index) {
      if (made_[index] == block) releases.push_back(name + std::string{" "} + std::to_string(index + 1));
    }
  }

  std::size_t failing_ = 0;
  std::vector<void*> made_;
  ImportHook<decltype(&::AllocateAndInitializeSid)> allocateSid_{"AllocateAndInitializeSid"};
  ImportHook<decltype(&::LocalAlloc)> localAlloc_{"LocalAlloc"};
  ImportHook<decltype(&::CreateWellKnownSid)> wellKnownSid_{"CreateWellKnownSid"};
  ImportHook<decltype(&::SetEntriesInAclW)> setEntries_{"SetEntriesInAclW"};
  ImportHook<decltype(&::InitializeSecurityDescriptor)> initialize_{"InitializeSecurityDescriptor"};
  ImportHook<decltype(&::SetSecurityDescriptorDacl)> setDacl_{"SetSecurityDescriptorDacl"};
  ImportHook<decltype(&::SetSecurityDescriptorControl)> setControl_{"SetSecurityDescriptorControl"};
  ImportHook<decltype(&::IsValidSecurityDescriptor)> isValid_{"IsValidSecurityDescriptor"};
  ImportHook<decltype(&::FreeSid)> freeSid_{"FreeSid"};
  ImportHook<decltype(&::LocalFree)> localFree_{"LocalFree"};
};

}  // namespace KuvTest
