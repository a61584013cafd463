#include "Tools/FilterSetup/SetupFixture.h"

#include <sddl.h>

#include <sstream>
#include <stdexcept>

#include "FilterSetup/FilterSetup.h"
#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace KuvTest {

namespace {

constexpr SECURITY_INFORMATION kOwnerAndList = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

std::wstring SddlOf(void* descriptor) {
  Kuv::UniqueLocalMemory<wchar_t> text;
  if (::ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, kOwnerAndList,
                                                             text.Put(), nullptr) == FALSE) {
    throw std::runtime_error{"a descriptor has no text"};
  }
  return text.Get();
}

// Fills the outputs of GetSecurityInfo.
DWORD Answer(const std::wstring& sddl, PSID* owner, ACL** acl, PSECURITY_DESCRIPTOR* descriptor) {
  if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, descriptor,
                                                             nullptr) == FALSE) {
    throw std::runtime_error{"no descriptor of " + WideToUtf8(sddl)};
  }
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  ::GetSecurityDescriptorDacl(*descriptor, &present, acl, &defaulted);
  ::GetSecurityDescriptorOwner(*descriptor, owner, &defaulted);
  return ERROR_SUCCESS;
}

}  // namespace

std::wstring AdministratorsOnly() {
  PSID owner = nullptr;
  ACL* acl = nullptr;
  Kuv::UniqueLocalMemory<void> descriptor;
  Answer(L"O:BAD:P(A;CIIO;0xf003f;;;CO)(A;OICI;0x100f003f;;;SY)(A;OICI;0x100f003f;;;BA)", &owner, &acl,
         descriptor.Put());
  return SddlOf(descriptor.Get());
}

std::wstring PathOf(HANDLE object) {
  wchar_t path[1024] = {};
  const DWORD length = ::GetFinalPathNameByHandleW(object, path, 1024, FILE_NAME_NORMALIZED);
  if (length == 0 || length >= 1024) throw std::runtime_error{"a file has no path"};
  const std::wstring text = path;
  return text.starts_with(L"\\\\?\\") ? text.substr(4) : text;
}

SetupRun RunSetup(const std::vector<std::wstring>& arguments) {
  std::ostringstream out;
  std::ostringstream err;
  const int code = FilterSetup::RunFilterSetup(arguments, out, err);
  return {code, out.str(), err.str()};
}

SetupFixture::SetupFixture()
    : getSecurity("GetSecurityInfo"), setSecurity("SetSecurityInfo"), createDirectory("CreateDirectoryW") {
  // The owner that the base class has set makes Wine forget that the list inherits nothing.
  if (!ProtectSettingsKeys()) throw std::runtime_error{"cannot protect the settings keys"};
  getSecurity.Answer([this](HANDLE object, SE_OBJECT_TYPE type, SECURITY_INFORMATION what, PSID* owner,
                            PSID* group, ACL** acl, ACL** audit, PSECURITY_DESCRIPTOR* descriptor) -> DWORD {
    if (type != SE_FILE_OBJECT)
      return getSecurity.Original(object, type, what, owner, group, acl, audit, descriptor);
    EXPECT_EQ(what, kOwnerAndList);
    const auto found = sddl.find(PathOf(object));
    return Answer(found == sddl.end() ? kProtectedFolder : found->second, owner, acl, descriptor);
  });
  setSecurity.Answer([this](HANDLE object, SE_OBJECT_TYPE type, SECURITY_INFORMATION what, PSID owner,
                            PSID group, ACL* acl, ACL* audit) -> DWORD {
    if (type != SE_FILE_OBJECT) return setSecurity.Original(object, type, what, owner, group, acl, audit);
    EXPECT_EQ(what, kOwnerAndList | PROTECTED_DACL_SECURITY_INFORMATION);
    EXPECT_EQ(group, nullptr);
    EXPECT_EQ(audit, nullptr);
    SECURITY_DESCRIPTOR descriptor{};
    ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    ::SetSecurityDescriptorOwner(&descriptor, owner, FALSE);
    ::SetSecurityDescriptorDacl(&descriptor, TRUE, acl, FALSE);
    ::SetSecurityDescriptorControl(&descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED);
    replaced.push_back(SddlOf(&descriptor));
    sddl[PathOf(object)] = replaced.back();
    return ERROR_SUCCESS;
  });
  createDirectory.Answer([this](const wchar_t* path, SECURITY_ATTRIBUTES* attributes) {
    if (attributes == nullptr) return createDirectory.Original(path, attributes);
    EXPECT_EQ(attributes->bInheritHandle, FALSE);
    const BOOL done = createDirectory.Original(path, attributes);
    if (done == FALSE) return done;
    created.push_back(SddlOf(attributes->lpSecurityDescriptor));
    sddl[path] = created.back();
    return done;
  });
}

void SetupFixture::MakeFolder(const std::wstring& text) {
  if (createDirectory.Original(Folder().c_str(), nullptr) == FALSE) throw std::runtime_error{"no folder"};
  sddl[Folder()] = text;
}

std::string SetupFixture::Shown(const std::wstring& path) {
  return WideToUtf8(path);
}

}  // namespace KuvTest
