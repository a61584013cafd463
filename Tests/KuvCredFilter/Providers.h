#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace KuvTest {

using Names = std::vector<std::string>;

// Class identifiers as the outside world knows them, written out again.
inline constexpr char kFilterClass[] = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}";
inline constexpr char kKuv[] = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
inline constexpr char kKuvSmartCard[] = "{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}";
inline constexpr char kSmartCard[] = "{8FD7E19C-3BF7-489B-A72C-846AB3678C96}";
inline constexpr char kV1SmartCard[] = "{8BF9A910-A8FF-457F-999F-A5CA10B4A885}";

// The platform's password provider, and three that nobody makes.
inline constexpr char kPassword[] = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
inline constexpr char kVendor[] = "{0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}";
inline constexpr char kOther[] = "{11111111-2222-4333-8444-555555555555}";
// Differs from `kKuv` in its last byte alone.
inline constexpr char kAlmostKuv[] = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D419}";

inline constexpr char kIUnknown[] = "{00000000-0000-0000-C000-000000000046}";
inline constexpr char kIClassFactory[] = "{00000001-0000-0000-C000-000000000046}";
inline constexpr char kICredentialProviderFilter[] = "{A5DA53F9-D475-4080-A120-910C4A739880}";

/// The identifier of a text and the text of an identifier, by the platform's own converters.
GUID Guid(const std::string& text);
std::string Text(const GUID& guid);

std::vector<GUID> Guids(const Names& texts);
Names Texts(const std::vector<GUID>& guids);

}  // namespace KuvTest
