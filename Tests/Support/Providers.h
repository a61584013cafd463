#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace KuvTest {

using Names = std::vector<std::string>;

// Class identifiers that other programs use. A test compares them with those of the product, so that a change
// of the product is detected.
#define KUV_TEST_FILTER_CLASS "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"
inline constexpr char kFilterClass[] = KUV_TEST_FILTER_CLASS;
inline constexpr char kKuv[] = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
inline constexpr char kKuvSmartCard[] = "{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}";
inline constexpr char kSmartCard[] = "{8FD7E19C-3BF7-489B-A72C-846AB3678C96}";
inline constexpr char kV1SmartCard[] = "{8BF9A910-A8FF-457F-999F-A5CA10B4A885}";

// The platform's password provider, and three example providers.
inline constexpr char kPassword[] = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
inline constexpr char kVendor[] = "{0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}";
inline constexpr char kOther[] = "{11111111-2222-4333-8444-555555555555}";
// Another example provider, for the tests of the tools.
inline constexpr char kForeign[] = "{11111111-2222-3333-4444-555555555555}";
// Differs from `kKuv` in its last byte only.
inline constexpr char kAlmostKuv[] = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D419}";

inline constexpr char kIUnknown[] = "{00000000-0000-0000-C000-000000000046}";
inline constexpr char kIClassFactory[] = "{00000001-0000-0000-C000-000000000046}";
inline constexpr char kICredentialProviderFilter[] = "{A5DA53F9-D475-4080-A120-910C4A739880}";

// The registry keys of the filter, below `HKEY_CLASSES_ROOT` and `HKEY_LOCAL_MACHINE`.
inline constexpr char kClassKey[] = "CLSID\\" KUV_TEST_FILTER_CLASS;
inline constexpr char kServerKey[] = "CLSID\\" KUV_TEST_FILTER_CLASS "\\InprocServer32";
inline constexpr char kFilterListKey[] =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider Filters";
inline constexpr char kFilterKey[] =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider "
    "Filters\\" KUV_TEST_FILTER_CLASS;
#undef KUV_TEST_FILTER_CLASS

// The keys of the settings, and the key with the console session, below `HKEY_LOCAL_MACHINE`.
inline constexpr char kLocalKey[] = "Software\\Kuvant\\KuvCredProv";
inline constexpr char kPolicyKey[] = "Software\\Policies\\Kuvant\\KuvCredProv";
inline constexpr char kTerminalServerKey[] = "SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\";

/// Converts hexadecimal digits, two for each byte of the number. Throws `std::invalid_argument`.
template <typename Number>
constexpr Number ParseHex(std::string_view text) {
  unsigned long number = 0;
  for (const char digit : text.substr(0, 2 * sizeof(Number))) {
    const std::size_t value = std::string_view{"0123456789ABCDEFabcdef"}.find(digit);
    if (value == std::string_view::npos) throw std::invalid_argument{"not a hexadecimal digit"};
    number = number << 4 | static_cast<unsigned long>(value < 16 ? value : value - 6);
  }
  return static_cast<Number>(number);
}

/// Converts the braced text of an identifier, 38 characters. Throws `std::invalid_argument`.
constexpr GUID Guid(std::string_view text) {
  if (text.size() != 38) throw std::invalid_argument{"not an identifier"};
  GUID guid{ParseHex<unsigned long>(text.substr(1)),
            ParseHex<unsigned short>(text.substr(10)),
            ParseHex<unsigned short>(text.substr(15)),
            {}};
  for (std::size_t i = 0; i < 8; ++i) {
    guid.Data4[i] = ParseHex<unsigned char>(text.substr((i < 2 ? 20 : 21) + 2 * i));
  }
  return guid;
}

inline constexpr GUID kFilterClassId = Guid(kFilterClass);
inline constexpr GUID kFilterInterfaceId = Guid(kICredentialProviderFilter);
inline constexpr GUID kKuvProvider = Guid(kKuv);
inline constexpr GUID kKuvSmartCardProvider = Guid(kKuvSmartCard);
inline constexpr GUID kSmartCardProvider = Guid(kSmartCard);
inline constexpr GUID kV1SmartCardProvider = Guid(kV1SmartCard);
inline constexpr GUID kPasswordProvider = Guid(kPassword);
inline constexpr GUID kVendorProvider = Guid(kVendor);

/// Returns the braced text of an identifier as the platform formats it.
std::string Text(const GUID& guid);

std::vector<GUID> Guids(const Names& texts);
Names Texts(const std::vector<GUID>& guids);

/// Converts ASCII text.
std::wstring Wide(std::string_view text);

inline const std::wstring kFilterClassText = Wide(kFilterClass);
inline const std::wstring kKuvText = Wide(kKuv);
inline const std::wstring kKuvSmartCardText = Wide(kKuvSmartCard);
inline const std::wstring kSmartCardText = Wide(kSmartCard);
inline const std::wstring kPasswordText = Wide(kPassword);
inline const std::wstring kForeignText = Wide(kForeign);

}  // namespace KuvTest
