// The value that the stack protector of the loaded DLL compares with (GCC).
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "Support/FilterModule.h"

namespace {

using KuvTest::FilterModule;

// Returns the address of a symbol for the preferred base, from the map that the linker writes beside the DLL.
std::uintptr_t AddressInMap(const std::string& symbol) {
  std::ifstream map{std::filesystem::path{KuvTest::FilterDllPath()}.replace_extension(L".map")};
  for (std::string line; std::getline(map, line);) {
    std::istringstream words{line};
    std::string address;
    std::string name;
    if (words >> address >> name && name == symbol && address.starts_with("0x")) {
      return static_cast<std::uintptr_t>(std::stoull(address, nullptr, 16));
    }
  }
  throw std::runtime_error{symbol + " is not in the map of the DLL"};
}

// Loads the DLL, reads the guard, and unloads the DLL.
std::uintptr_t GuardOfALoad() {
  const FilterModule module;
  const auto base = reinterpret_cast<std::uintptr_t>(module.Get());
  const std::uintptr_t offset = AddressInMap("__stack_chk_guard") - AddressInMap("__image_base__");
  std::uintptr_t guard = 0;
  std::memcpy(&guard, reinterpret_cast<const void*>(base + offset), sizeof(guard));
  return guard;
}

TEST(StackGuard, DiffersBetweenLoads) {
  const std::uintptr_t first = GuardOfALoad();
  ASSERT_EQ(::GetModuleHandleW(L"KuvCredFilter.dll"), nullptr);
  const std::uintptr_t second = GuardOfALoad();
  EXPECT_NE(first, 0u);
  EXPECT_NE(second, 0u);
  EXPECT_NE(first, second);
}

// An overflowing string cannot reproduce such a value.
TEST(StackGuard, HasAZeroInItsLowestByte) {
  const std::uintptr_t guard = GuardOfALoad();
  EXPECT_NE(guard, 0u);
  EXPECT_EQ(guard & 0xFF, 0u);
}

}  // namespace
