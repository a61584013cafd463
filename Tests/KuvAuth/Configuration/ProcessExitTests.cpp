#include <windows.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/Configuration.h"
#include "Support/ChildProcess.h"
#include "Support/ImportTable.h"
#include "Support/TempFolder.h"

namespace {

// The blocks of the strings and the list, until they are freed.
void* g_blocks[5];
wchar_t g_path[MAX_PATH];
void (*g_free)(void*);

void WatchedFree(void* block) {
  void** const watched = std::find(std::begin(g_blocks), std::end(g_blocks), block);
  if (block != nullptr && watched != std::end(g_blocks)) {
    *watched = nullptr;
    const auto left = static_cast<std::size_t>(std::count_if(std::begin(g_blocks), std::end(g_blocks),
                                                             [](void* other) { return other != nullptr; }));
    KuvTest::WriteFileBytes(g_path, std::to_string(left) + " left");
  }
  g_free(block);
}

void WatchFree() {
  for (void** const entry : KuvTest::FindImports(::GetModuleHandleW(nullptr), "free")) {
    g_free = reinterpret_cast<void (*)(void*)>(*entry);
    KuvTest::WriteImport(entry, reinterpret_cast<void*>(&WatchedFree));
  }
}

TEST(ConfigurationProcess, ReleasesItsStringsAndItsListAtItsExit) {
  const std::wstring path = KuvTest::ChildArgument();
  if (!path.empty()) {
    path.copy(g_path, MAX_PATH - 1);
    Configuration& record = *GetConfiguration();
    std::string* const texts[] = {&record.Host, &record.IKey, &record.SKey, &record.HttpProxyHost};
    std::transform(std::begin(texts), std::end(texts), g_blocks, [](std::string* text) {
      text->assign(100, 'x');
      return static_cast<void*>(text->data());
    });
    record.ProvidersWhitelist.resize(9);
    g_blocks[4] = record.ProvidersWhitelist.data();
    WatchFree();
    return;
  }
  const KuvTest::TempFolder folder;
  const std::wstring last = folder.Path(L"last");
  EXPECT_EQ(KuvTest::RunAgainInChild(last), 0u);
  ASSERT_EQ(folder.Names(), (std::vector<std::wstring>{L"last"}));
  EXPECT_EQ(KuvTest::ReadFileBytes(last), "0 left");
}

}  // namespace
