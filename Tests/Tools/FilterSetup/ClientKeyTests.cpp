// The command "set-key".
#include "FilterSetup/Actions/ClientKey.h"

#include <windows.h>
#include <sddl.h>

#include <algorithm>
#include <new>

#include <gmock/gmock.h>

#include "FilterSetup/Actions/SecretInput.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "Tools/FilterSetup/SetupFixture.h"

namespace {

using namespace KuvTest;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kWritten[] = "HKLM\\Software\\Kuvant\\KuvCredProv\\SKey: written\n";

class SetClientKey : public SetupFixture {
 protected:
  SetClientKey() : file(files.Path(L"skey.txt")) {}

  SetupRun SetFrom(std::string_view bytes) const {
    WriteFileBytes(file, bytes);
    return RunSetup({L"set-key", L"--from", file});
  }

  // Returns the bytes of the value as text with its terminator.
  std::wstring Stored() const {
    DWORD type = REG_NONE;
    const std::vector<std::uint8_t> bytes = registry.Local().GetBytes(L"SKey", type);
    EXPECT_EQ(type, DWORD{REG_SZ});
    return {reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t)};
  }

  void ExpectRefused(const SetupRun& run, const std::string& reason) const {
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "KuvFilterSetup: SKey was not written: " + reason + "\n");
    EXPECT_EQ(Stored(), std::wstring(L"sample-secret\0", 14));
  }

  static void Set(const wchar_t* sddl) {
    Kuv::UniqueLocalMemory<void> descriptor;
    ASSERT_NE(::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, descriptor.Put(),
                                                                     nullptr),
              FALSE);
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Kuvant\\KuvCredProv", 0,
                              WRITE_DAC | WRITE_OWNER, key.Put()),
              ERROR_SUCCESS);
    ASSERT_EQ(::RegSetKeySecurity(key.Get(), OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                  descriptor.Get()),
              ERROR_SUCCESS);
  }

  TempFolder files;
  std::wstring file;
};

TEST_F(SetClientKey, WritesOneLineOfFile) {
  for (const std::string_view bytes :
       {"new-key", "new-key\n", "new-key\r\n", "new-key\r", "\xEF\xBB\xBFnew-key\r\n"}) {
    SCOPED_TRACE(std::string{bytes});
    registry.Local().SetText(L"SKey", L"sample-secret");
    const SetupRun run = SetFrom(bytes);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, kWritten);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(Stored(), std::wstring(L"new-key\0", 8));
  }
}

TEST_F(SetClientKey, WritesWhatTheFilterReads) {
  std::string all;
  for (char c = '!'; c <= '~'; ++c) all += c;
  for (const std::string& key : {std::string{"k"}, all, std::string(1023, 'x')}) {
    EXPECT_EQ(SetFrom(key).exitCode, 0);
    *GetConfiguration() = Configuration{};
    EXPECT_TRUE(EnsureConfigurationLoaded());
    EXPECT_EQ(GetConfiguration()->SKey, key);
  }
}

TEST_F(SetClientKey, RefusesTextThatIsNotOneKey) {
  const std::string longest(1023, 'x');
  const struct {
    std::string bytes;
    const char* reason;
  } rows[] = {
      {"", "is empty"},
      {"\r\n", "is empty"},
      {"\xEF\xBB\xBF", "is empty"},
      {"hush-one\nhush-two\n", "contains a line break"},
      {"hush-one\rhush-two", "contains a line break"},
      {"hush-one\n\n", "contains a line break"},
      {std::string{"hush\0one", 8}, "contains a NUL character; save the file as UTF-8 or ASCII"},
      {std::string{"\xFF\xFEh\0u\0s\0h\0", 10}, "contains a NUL character; save the file as UTF-8 or ASCII"},
      {"hush one", "contains white space, or a character that is not printable ASCII"},
      {"hush\tone", "contains white space, or a character that is not printable ASCII"},
      {"hush\x7F", "contains white space, or a character that is not printable ASCII"},
      {"hush\x1B", "contains white space, or a character that is not printable ASCII"},
      {"hush-\xC3\xA4", "contains white space, or a character that is not printable ASCII"},
      {longest + "x", "is longer than 1,023 characters"},
      {longest + "x\r\n", "is longer than 1,023 characters"},
      {"\xEF\xBB\xBF" + longest + "x\r\n", "is longer than 1,023 characters"},
      {std::string(100000, 'x'), "is longer than 1,023 characters"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bytes.substr(0, 40));
    const SetupRun run = SetFrom(row.bytes);
    ExpectRefused(run, std::string{"the text "} + row.reason);
    EXPECT_THAT(run.err, Not(HasSubstr("hush")));
  }
}

TEST_F(SetClientKey, AcceptsLongestKeyWithMarkAndLineEnd) {
  EXPECT_EQ(SetFrom("\xEF\xBB\xBF" + std::string(1023, 'x') + "\r\n").exitCode, 0);
  EXPECT_EQ(Stored(), std::wstring(1023, L'x') + L'\0');
}

TEST_F(SetClientKey, NeedsProtectedKeyBeforeItReadsFile) {
  const struct {
    const wchar_t* sddl;
    const char* reason;
  } rows[] = {
      {L"O:BAD:P(A;CI;KA;;;SY)(A;CI;KA;;;BA)(A;;KR;;;BU)",
       "others than SYSTEM and Administrators have access to "},
      {L"O:BAD:P(A;CI;KA;;;SY)(A;CI;KA;;;BA)(A;CIIO;KR;;;BU)",
       "others than SYSTEM and Administrators have access to "},
      {L"O:S-1-5-21-1-2-3-1001D:P(A;CI;KA;;;SY)(A;CI;KA;;;BA)", nullptr},
  };
  WriteFileBytes(file, "hush");
  KUV_IMPORT_HOOK(read, ReadFile);
  for (const auto& row : rows) {
    SCOPED_TRACE(WideToUtf8(row.sddl));
    Set(row.sddl);
    const std::string reason = row.reason != nullptr
                                   ? row.reason + std::string{"HKLM\\Software\\Kuvant\\KuvCredProv"}
                                   : "HKLM\\Software\\Kuvant\\KuvCredProv belongs to another user";
    ExpectRefused(RunSetup({L"set-key", L"--from", file}), reason + "; run \"KuvFilterSetup prepare\" first");
  }
  EXPECT_EQ(read.CallCount(), 0u);
}

TEST_F(SetClientKey, TreatsMissingAccessListAsOpen) {
  getSecurity.Answer(
      [&](auto object, auto type, auto what, auto owner, auto group, ACL** acl, auto audit, auto descriptor) {
        const DWORD status = getSecurity.Original(object, type, what, owner, group, acl, audit, descriptor);
        *acl = nullptr;
        return status;
      });
  EXPECT_EQ(SetFrom("hush").exitCode, 2);
}

TEST_F(SetClientKey, NeedsExistingKey) {
  registry.Local().Delete();
  const SetupRun run = SetFrom("hush");
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err,
            "KuvFilterSetup: SKey was not written: HKLM\\Software\\Kuvant\\KuvCredProv does not exist; run "
            "\"KuvFilterSetup prepare\" first\n");
  EXPECT_FALSE(registry.Local().Exists());
}

TEST_F(SetClientKey, ChangesNothingIfKeyIsTheSame) {
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  const SetupRun run = SetFrom("sample-secret\n");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "nothing to change\n");
  EXPECT_EQ(set.CallCount(), 0u);
}

TEST_F(SetClientKey, ReplacesValueOfOtherType) {
  const wchar_t same[] = L"sample-secret";
  registry.Local().SetBytes(L"SKey", REG_BINARY, same, sizeof(same));
  EXPECT_EQ(SetFrom("sample-secret").out, kWritten);
  EXPECT_EQ(Stored(), std::wstring(L"sample-secret\0", 14));
}

TEST_F(SetClientKey, WritesNothingInDryRun) {
  WriteFileBytes(file, "hush");
  const SetupRun run = RunSetup({L"set-key", L"--dry-run", L"--from", file});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "HKLM\\Software\\Kuvant\\KuvCredProv\\SKey: would be written\n");
  EXPECT_EQ(Stored(), std::wstring(L"sample-secret\0", 14));
}

TEST_F(SetClientKey, ReportsUnreadableFile) {
  const SetupRun run = RunSetup({L"set-key", L"--from", files.Path(L"missing.txt")});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, HasSubstr("KuvFilterSetup: cannot read '"));
  EXPECT_THAT(run.err, HasSubstr("missing.txt': "));
  KUV_IMPORT_HOOK(read, ReadFile);
  read.Answer([](auto, auto, auto, auto, auto) {
    ::SetLastError(ERROR_CRC);
    return FALSE;
  });
  const SetupRun second = SetFrom("hush");
  EXPECT_EQ(second.exitCode, 3);
  EXPECT_THAT(second.err, HasSubstr("(error 23)"));
  EXPECT_EQ(Stored(), std::wstring(L"sample-secret\0", 14));
}

TEST_F(SetClientKey, ReportsRegistryFailureAndKeepsOldValue) {
  {
    KUV_IMPORT_HOOK(set, RegSetValueExW);
    set.Answer([](auto, auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_DISK_FULL; });
    const SetupRun run = SetFrom("hush");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("KuvCredProv\\SKey: cannot be written: "));
    EXPECT_THAT(run.err, Not(HasSubstr("hush")));
  }
  {
    KUV_IMPORT_HOOK(open, RegOpenKeyExA);
    open.Answer([](auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    const SetupRun run = SetFrom("hush");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err, HasSubstr("KuvCredProv: cannot be opened: "));
  }
  EXPECT_EQ(Stored(), std::wstring(L"sample-secret\0", 14));
  EXPECT_EQ(SetFrom("new-key").exitCode, 0);
}

TEST_F(SetClientKey, ReadsStandardInput) {
  Kuv::UniqueFile read;
  Kuv::UniqueFile write;
  ASSERT_NE(::CreatePipe(read.Put(), write.Put(), nullptr, 0), FALSE);
  const HANDLE before = ::GetStdHandle(STD_INPUT_HANDLE);
  ::SetStdHandle(STD_INPUT_HANDLE, read.Get());
  DWORD count = 0;
  ASSERT_NE(::WriteFile(write.Get(), "new-", 4, &count, nullptr), FALSE);
  ASSERT_NE(::WriteFile(write.Get(), "key\r\n", 5, &count, nullptr), FALSE);
  write.Reset();
  const SetupRun run = RunSetup({L"set-key"});
  ::SetStdHandle(STD_INPUT_HANDLE, before);
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(Stored(), std::wstring(L"new-key\0", 8));
}

TEST_F(SetClientKey, ReportsMissingStandardInput) {
  KUV_IMPORT_HOOK(handle, GetStdHandle);
  handle.Answer([](auto) -> HANDLE { return nullptr; });
  const SetupRun run = RunSetup({L"set-key"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, HasSubstr("cannot read standard input: "));
}

TEST_F(SetClientKey, WipesKeyFromMemory) {
  WriteFileBytes(file, "hush-hush");
  alignas(FilterSetup::Secret) char memory[sizeof(FilterSetup::Secret)] = {};
  const auto contains = [&memory] {
    const std::string_view bytes{memory, sizeof(memory)};
    return bytes.find("hush") != std::string_view::npos;
  };
  auto* const secret = new (memory) FilterSetup::Secret;
  FilterSetup::ReadSecret(file, *secret);
  EXPECT_EQ(secret->Text(), "hush-hush");
  EXPECT_TRUE(contains());
  secret->~Secret();
  EXPECT_FALSE(contains());
}

TEST_F(SetClientKey, WipesBufferOfItsText) {
  using Buffer = FilterSetup::SecretBuffer<wchar_t, 8>;
  alignas(Buffer) wchar_t memory[sizeof(Buffer) / sizeof(wchar_t)] = {};
  auto* const buffer = new (memory) Buffer;
  std::copy_n(L"hush", 4, buffer->Data());
  EXPECT_EQ(std::wstring(memory, 4), L"hush");
  buffer->~Buffer();
  EXPECT_EQ(std::wstring(memory, 8), std::wstring(8, L'\0'));
}

}  // namespace
