#include "FreedSecrets.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Before each block, at the alignment of the platform's blocks.
struct alignas(16) BlockHeader {
  std::size_t size;
};

constinit std::string_view g_secret;
constinit int g_count = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(sizeof(BlockHeader) + size);
  if (memory == nullptr) throw std::bad_alloc{};
  return new (memory) BlockHeader{size} + 1;
}

void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  BlockHeader* const header = static_cast<BlockHeader*>(block) - 1;
  const std::string_view content{static_cast<const char*>(block), header->size};
  if (!g_secret.empty() && content.find(g_secret) != std::string_view::npos) ++g_count;
  std::free(header);
}

void operator delete(void* block, std::size_t) noexcept {
  ::operator delete(block);
}

namespace KuvTest {

FreedSecrets::FreedSecrets(std::string_view secret) {
  g_count = 0;
  g_secret = secret;
}

FreedSecrets::~FreedSecrets() {
  g_secret = {};
}

int FreedSecrets::Count() const {
  return g_count;
}

}  // namespace KuvTest
