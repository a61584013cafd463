#pragma once

#include <windows.h>
#include <sddl.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace KuvTest {

/// One entry of an access list, with its account in the text form of a SID.
struct AclEntry {
  std::string sid;
  DWORD mask;
  DWORD flags;
  DWORD type;

  bool operator==(const AclEntry&) const = default;
};
using AclEntries = std::vector<AclEntry>;

inline void PrintTo(const AclEntry& entry, std::ostream* out) {
  *out << entry.sid << " mask 0x" << std::hex << entry.mask << " flags 0x" << entry.flags << " type "
       << std::dec << entry.type;
}

inline std::string SidText(PSID sid) {
  Kuv::UniqueLocalMemory<wchar_t> text;
  return ::ConvertSidToStringSidW(sid, text.Put()) == FALSE ? "no SID" : WideToUtf8(text.Get());
}

/// Returns the entries of a list; treats every entry as an allowing or denying one.
inline AclEntries ReadAcl(ACL* acl) {
  AclEntries entries;
  for (DWORD index = 0; acl != nullptr && index < acl->AceCount; ++index) {
    void* pointer = nullptr;
    if (::GetAce(acl, index, &pointer) == FALSE) break;
    auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(pointer);
    entries.push_back(
        {SidText(&entry->SidStart), entry->Mask, entry->Header.AceFlags, entry->Header.AceType});
  }
  return entries;
}

/// The rights of an account to an object, and those to new containers below it, with generic rights mapped.
struct AccountRights {
  DWORD own = 0;
  DWORD inherited = 0;

  bool operator==(const AccountRights&) const = default;
};
using RightsByAccount = std::map<std::string, AccountRights>;

inline void PrintTo(const AccountRights& rights, std::ostream* out) {
  *out << std::hex << "0x" << rights.own << " inherited 0x" << rights.inherited << std::dec;
}

inline constexpr GENERIC_MAPPING kKeyMapping{KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS};
inline constexpr GENERIC_MAPPING kFileMapping{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE,
                                              FILE_ALL_ACCESS};

/// Returns what a stored list means. Wine keeps the entries that it is given. Windows maps generic rights and
/// may divide an entry in one for the object and one for new objects.
inline RightsByAccount MeaningOf(const AclEntries& entries, GENERIC_MAPPING mapping) {
  RightsByAccount rights;
  for (const AclEntry& entry : entries) {
    DWORD mask = entry.mask;
    ::MapGenericMask(&mask, &mapping);
    const std::string type = entry.type == ACCESS_ALLOWED_ACE_TYPE ? "" : std::to_string(entry.type) + " ";
    AccountRights& account = rights[type + entry.sid];
    if ((entry.flags & INHERIT_ONLY_ACE) == 0) account.own |= mask;
    if ((entry.flags & CONTAINER_INHERIT_ACE) != 0) account.inherited |= mask;
  }
  return rights;
}

/// Returns the meaning of `AdminOnlyEntries` for a key.
inline RightsByAccount AdminOnlyKeyRights() {
  return {{"S-1-3-0", {0, 0x000F003F}},
          {"S-1-5-18", {0x000F003F, 0x000F003F}},
          {"S-1-5-32-544", {0x000F003F, 0x000F003F}}};
}

/// Returns the expected entries for the folder and the keys: the creator (of new objects below it), Local
/// System and Administrators.
inline AclEntries AdminOnlyEntries() {
  return {
      {"S-1-3-0", 0x000F003F, 0xA, 0}, {"S-1-5-18", 0x100F003F, 3, 0}, {"S-1-5-32-544", 0x100F003F, 3, 0}};
}

/// Checks every part of the administrators-only descriptor: a present and protected list, and nothing else.
inline void ExpectAdminOnly(SECURITY_DESCRIPTOR* descriptor) {
  ASSERT_NE(descriptor, nullptr);
  BOOL present = FALSE;
  BOOL defaulted = TRUE;
  ACL* acl = nullptr;
  ASSERT_NE(::GetSecurityDescriptorDacl(descriptor, &present, &acl, &defaulted), FALSE);
  EXPECT_EQ(present, TRUE);
  EXPECT_EQ(defaulted, FALSE);
  EXPECT_EQ(ReadAcl(acl), AdminOnlyEntries());

  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  ASSERT_NE(::GetSecurityDescriptorControl(descriptor, &control, &revision), FALSE);
  EXPECT_EQ(control, 0x1004);  // the list is present and protected
  EXPECT_EQ(revision, 1u);

  PSID sid = nullptr;
  EXPECT_NE(::GetSecurityDescriptorOwner(descriptor, &sid, &defaulted), FALSE);
  EXPECT_EQ(sid, nullptr);
  EXPECT_NE(::GetSecurityDescriptorGroup(descriptor, &sid, &defaulted), FALSE);
  EXPECT_EQ(sid, nullptr);
  EXPECT_NE(::GetSecurityDescriptorSacl(descriptor, &present, &acl, &defaulted), FALSE);
  EXPECT_EQ(present, FALSE);
}

}  // namespace KuvTest
