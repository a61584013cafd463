#include "KuvAuth/ProtectedStorage/SecurityDescriptor.h"

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "AclReader.h"
#include "KuvAuth/Support/KuvException.h"
#include "SecurityCalls.h"
#include "Support/LogCapture.h"

namespace {

using KuvTest::ExpectAdminOnly;
using KuvTest::LogCapture;
using KuvTest::LogLine;
using KuvTest::LogLines;
using KuvTest::SecurityCalls;

using Calls = std::vector<std::string>;

const Calls kAllCalls{"AllocateAndInitializeSid",  "LocalAlloc",
                      "CreateWellKnownSid",        "AllocateAndInitializeSid",
                      "SetEntriesInAclW",          "InitializeSecurityDescriptor",
                      "SetSecurityDescriptorDacl", "SetSecurityDescriptorControl",
                      "IsValidSecurityDescriptor"};

// In the order of creation: creator, system, administrators, list.
const Calls kAllReleases{"FreeSid 1", "LocalFree 2", "FreeSid 3", "LocalFree 4"};

// The first field is at the start, so there is no base class and no pointer to a virtual table.
static_assert(!std::is_polymorphic_v<CSecurityDescriptor>);
static_assert(offsetof(CSecurityDescriptor, initialised) == 0);
static_assert(offsetof(CSecurityDescriptor, creatorOwnerSid) == sizeof(void*));
static_assert(offsetof(CSecurityDescriptor, localSystemSid) == 2 * sizeof(void*));
static_assert(offsetof(CSecurityDescriptor, administratorsSid) == 3 * sizeof(void*));
static_assert(offsetof(CSecurityDescriptor, acl) == 4 * sizeof(void*));
static_assert(offsetof(CSecurityDescriptor, descriptor) == 5 * sizeof(void*));
static_assert(sizeof(CSecurityDescriptor) == 5 * sizeof(void*) + sizeof(SECURITY_DESCRIPTOR));
static_assert(sizeof(CSecurityDescriptor::initialised) == 1);
static_assert(std::is_same_v<decltype(CSecurityDescriptor::descriptor), SECURITY_DESCRIPTOR>);

TEST(SecurityDescriptor, StartsEmpty) {
  const CSecurityDescriptor object;
  EXPECT_FALSE(object.initialised);
  EXPECT_EQ(object.creatorOwnerSid, nullptr);
  EXPECT_EQ(object.localSystemSid, nullptr);
  EXPECT_EQ(object.administratorsSid, nullptr);
  EXPECT_EQ(object.acl, nullptr);
  EXPECT_EQ(object.descriptor.Revision, 0);
  EXPECT_EQ(object.descriptor.Control, 0);
  EXPECT_EQ(object.descriptor.Dacl, nullptr);
}

TEST(SecurityDescriptor, GrantsAccessToSystemAdministratorsAndTheCreatorBelow) {
  CSecurityDescriptor object;
  SECURITY_DESCRIPTOR* const descriptor = object.GetAdminOnlyDescriptor();
  EXPECT_EQ(descriptor, &object.descriptor);
  EXPECT_EQ(descriptor->Dacl, object.acl);
  ExpectAdminOnly(descriptor);
}

TEST(SecurityDescriptor, OwnsItsParts) {
  CSecurityDescriptor object;
  object.GetAdminOnlyDescriptor();
  EXPECT_TRUE(object.initialised);
  EXPECT_EQ(KuvTest::SidText(object.creatorOwnerSid), "S-1-3-0");
  EXPECT_EQ(KuvTest::SidText(object.localSystemSid), "S-1-5-18");
  EXPECT_EQ(KuvTest::SidText(object.administratorsSid), "S-1-5-32-544");
}

TEST(SecurityDescriptor, PassesThreeEntriesToThePlatformInOrder) {
  SecurityCalls platform;
  CSecurityDescriptor object;
  object.GetAdminOnlyDescriptor();
  struct Row {
    DWORD mask;
    DWORD inheritance;
    int trusteeType;
    const char* sid;
  };
  const Row rows[] = {
      {0x000F003F, 0xA, 5, "S-1-3-0"}, {0x100F003F, 3, 2, "S-1-5-18"}, {0x100F003F, 3, 2, "S-1-5-32-544"}};
  ASSERT_EQ(platform.entries.size(), 3u);
  for (std::size_t index = 0; index < 3; ++index) {
    SCOPED_TRACE(index);
    const EXPLICIT_ACCESS_W& entry = platform.entries[index];
    EXPECT_EQ(entry.grfAccessPermissions, rows[index].mask);
    EXPECT_EQ(static_cast<int>(entry.grfAccessMode), 2);
    EXPECT_EQ(entry.grfInheritance, rows[index].inheritance);
    EXPECT_EQ(entry.Trustee.pMultipleTrustee, nullptr);
    EXPECT_EQ(static_cast<int>(entry.Trustee.MultipleTrusteeOperation), 0);
    EXPECT_EQ(static_cast<int>(entry.Trustee.TrusteeForm), 0);
    EXPECT_EQ(static_cast<int>(entry.Trustee.TrusteeType), rows[index].trusteeType);
    EXPECT_EQ(platform.sids[index], rows[index].sid);
  }
}

TEST(SecurityDescriptor, CallsThePlatformInOrderOnceAndLogsNothing) {
  SecurityCalls platform;
  const LogCapture log;
  CSecurityDescriptor object;
  SECURITY_DESCRIPTOR* const first = object.GetAdminOnlyDescriptor();
  EXPECT_EQ(platform.calls, kAllCalls);
  EXPECT_EQ(object.GetAdminOnlyDescriptor(), first);
  EXPECT_EQ(platform.calls, kAllCalls);
  EXPECT_EQ(platform.releases, Calls{});
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(SecurityDescriptor, ReleasesItsPartsInOrder) {
  SecurityCalls platform;
  {
    CSecurityDescriptor object;
    object.GetAdminOnlyDescriptor();
    EXPECT_EQ(platform.releases, Calls{});
  }
  EXPECT_EQ(platform.releases, kAllReleases);
}

TEST(SecurityDescriptor, CallsNothingIfDestroyedUnused) {
  SecurityCalls platform;
  KUV_IMPORT_HOOK(freeSid, FreeSid);
  KUV_IMPORT_HOOK(localFree, LocalFree);
  { const CSecurityDescriptor object; }
  EXPECT_EQ(platform.calls, Calls{});
  EXPECT_EQ(freeSid.CallCount() + localFree.CallCount(), 0u);
}

struct FailureRow {
  const char* name;
  std::size_t call;  ///< the failing call; the first is 1
  std::size_t made;  ///< the parts that exist at that point
  LogLines lines;
};

void PrintTo(const FailureRow& row, std::ostream* out) {
  *out << row.name;
}

class SecurityDescriptorFailure : public ::testing::TestWithParam<FailureRow> {};

TEST_P(SecurityDescriptorFailure, LogsStopsThrowsAndReleases) {
  const FailureRow& row = GetParam();
  SecurityCalls platform;
  platform.Fail(row.call);
  const LogCapture log;
  {
    CSecurityDescriptor object;
    try {
      object.GetAdminOnlyDescriptor();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const CKuvException& exception) {
      EXPECT_EQ(exception.code(), 1);
      EXPECT_EQ(exception.GetErrorMessage(), L"Failed to create security descriptor");
    }
    EXPECT_FALSE(object.initialised);
    EXPECT_EQ(platform.releases, Calls{});
  }
  EXPECT_EQ(platform.calls,
            Calls(kAllCalls.begin(), kAllCalls.begin() + static_cast<std::ptrdiff_t>(row.call)));
  EXPECT_EQ(log.Lines(), row.lines);
  EXPECT_EQ(platform.releases,
            Calls(kAllReleases.begin(), kAllReleases.begin() + static_cast<std::ptrdiff_t>(row.made)));
  EXPECT_EQ(platform.releases.size(), platform.made());
}

LogLines Warning(const char* text) {
  return {{LogLevel::Warning, text}};
}

const FailureRow kFailures[] = {
    {"FirstSid", 1, 0,
     Warning("CSecurityDescriptor::GetAdminOnlyDescriptor AllocateAndInitializeSid Error 1314")},
    {"SidMemory",
     2,
     1,
     {{LogLevel::Error,
       "CSecurityDescriptor::GetAdminOnlyDescriptor Could not allocate memory for security SID"}}},
    {"WellKnownSid", 3, 2,
     Warning("CSecurityDescriptor::GetAdminOnlyDescriptor CreateWellKnownSid Error 1314")},
    {"LastSid", 4, 2,
     Warning("CSecurityDescriptor::GetAdminOnlyDescriptor AllocateAndInitializeSid Error 1314")},
    {"Entries", 5, 3, Warning("CSecurityDescriptor::GetAdminOnlyDescriptor SetEntriesInAcl Error 1314")},
    {"Initialize", 6, 4,
     Warning("CSecurityDescriptor::GetAdminOnlyDescriptor InitializeSecurityDescriptor Error 1314")},
    {"Dacl", 7, 4,
     Warning("CSecurityDescriptor::GetAdminOnlyDescriptor SetSecurityDescriptorDacl Error  1314")},
    {"Control", 8, 4,
     Warning("CSecurityDescriptor::GetAdminOnlyDescriptor SetSecurityDescriptorControl Error 1314")},
    {"Invalid", 9, 4, {}},
};

INSTANTIATE_TEST_SUITE_P(EachCall, SecurityDescriptorFailure, ::testing::ValuesIn(kFailures),
                         [](const auto& row) { return std::string{row.param.name}; });

TEST(SecurityDescriptor, LogsAnErrorCodeAsSigned) {
  SecurityCalls platform;
  platform.failureCode = 0x80070005;
  platform.Fail(5);
  const LogCapture log;
  CSecurityDescriptor object;
  EXPECT_THROW(object.GetAdminOnlyDescriptor(), CKuvException);
  EXPECT_EQ(log.Lines(),
            Warning("CSecurityDescriptor::GetAdminOnlyDescriptor SetEntriesInAcl Error -2147024891"));
}

TEST(SecurityDescriptor, ThrowsEvenWithoutALog) {
  SecurityCalls platform;
  platform.Fail(1);
  CSecurityDescriptor object;
  EXPECT_THROW(object.GetAdminOnlyDescriptor(), CKuvException);
}

}  // namespace
