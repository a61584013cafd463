#include "KuvAuth/Support/GuidText.h"

#include <objbase.h>

#include <algorithm>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/Providers.h"

namespace {

using namespace KuvTest;

TEST(GuidToString, ReturnsTheBracedUpperCaseText) {
  EXPECT_EQ(GuidToString(Guid("{0a1b2c3d-4e5f-4071-8293-a4b5c6d7e8f9}")),
            L"{0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}");
  EXPECT_EQ(GuidToString(GUID{}), L"{00000000-0000-0000-0000-000000000000}");
}

TEST(GuidToString, OffersAZeroedBufferOf50) {
  const GUID vendor = Guid(kVendor);
  KUV_IMPORT_HOOK(convert, StringFromGUID2);
  convert.Answer([&](const GUID& guid, wchar_t* text, int size) {
    EXPECT_EQ(guid, vendor);
    EXPECT_EQ(size, 50);
    EXPECT_TRUE(std::all_of(text, text + 50, [](wchar_t unit) { return unit == L'\0'; }));
    text[0] = L'x';
    text[1] = L'y';
    return 3;
  });
  EXPECT_EQ(GuidToString(vendor), L"xy");
}

TEST(GuidToString, IsEmptyIfThePlatformFails) {
  KUV_IMPORT_HOOK(convert, StringFromGUID2);
  convert.Answer([](const GUID&, wchar_t*, int) { return 0; });
  EXPECT_EQ(GuidToString(GUID{}), L"");
}

}  // namespace
