// The text that the event viewer shows for an event of the source "Kuvant", from the message table of the
// built DLL.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Support/UniqueResource.h"
#include "Support/FilterModule.h"

namespace {

using Kuv::UniqueLibrary;

// Maps the file as the viewer does, without running its code.
UniqueLibrary MessageFile() {
  return UniqueLibrary{::LoadLibraryExW(KuvTest::FilterDllPath().c_str(), /*hFile=*/nullptr,
                                        LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE)};
}

// Returns the text of an event with one insertion string, without the line end, or "error" with the code.
std::wstring EventText(HMODULE library, DWORD event, DWORD language, const wchar_t* insertion) {
  wchar_t text[256] = {};
  DWORD_PTR arguments[] = {reinterpret_cast<DWORD_PTR>(insertion)};
  const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, library,
                                        event, language, text, 256, reinterpret_cast<va_list*>(arguments));
  if (length == 0) return L"error " + std::to_wstring(::GetLastError());
  std::wstring result{text, length};
  result.erase(result.find_last_not_of(L"\r\n") + 1);
  return result;
}

TEST(EventMessage, IsItsInsertionString) {
  const UniqueLibrary file = MessageFile();
  ASSERT_TRUE(file);
  EXPECT_EQ(EventText(file.Get(), 0xC0020000, 0, L"Zo\u00EB's settings are incomplete (100%)"),
            L"Zo\u00EB's settings are incomplete (100%)");
}

BOOL CALLBACK AddLanguage(HMODULE, const wchar_t*, const wchar_t*, WORD language, LONG_PTR languages) {
  reinterpret_cast<std::vector<WORD>*>(languages)->push_back(language);
  return TRUE;
}

// A viewer looks for its own language first and for the neutral language last.
TEST(EventMessage, TableIsLanguageNeutral) {
  const UniqueLibrary file = MessageFile();
  ASSERT_TRUE(file);
  std::vector<WORD> languages;
  EXPECT_TRUE(::EnumResourceLanguagesW(file.Get(), MAKEINTRESOURCEW(11), MAKEINTRESOURCEW(1), AddLanguage,
                                       reinterpret_cast<LONG_PTR>(&languages)));
  EXPECT_EQ(languages, std::vector<WORD>{0});
}

TEST(EventMessage, IsMissingForOtherIdentifiers) {
  const UniqueLibrary file = MessageFile();
  ASSERT_TRUE(file);
  for (const DWORD event : {0xC0020001U, 0x40020000U, 0x00000000U}) {
    EXPECT_EQ(EventText(file.Get(), event, 0, L"text"), L"error 317") << std::hex << event;
  }
}

}  // namespace
