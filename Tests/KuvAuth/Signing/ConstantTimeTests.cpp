#include "KuvAuth/Signing/ConstantTime.h"

#include <windows.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

using Kuv::Signing::AreEqualInConstantTime;

constexpr std::size_t kPage = 4096;
constinit volatile int g_guardHits = 0;

// The guard ends with the first access, which is then repeated.
LONG CALLBACK CountGuardHit(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode != STATUS_GUARD_PAGE_VIOLATION)
    return EXCEPTION_CONTINUE_SEARCH;
  g_guardHits = g_guardHits + 1;
  return EXCEPTION_CONTINUE_EXECUTION;
}

// A text whose last character is on a separate page, so that a test sees whether it is read.
class GuardedText {
 public:
  explicit GuardedText(const std::string& text)
      : memory_(
            static_cast<char*>(::VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))),
        handler_(::AddVectoredExceptionHandler(1, CountGuardHit)),
        size_(text.size()) {
    std::memcpy(Start(), text.data(), size_);
  }
  GuardedText(const GuardedText&) = delete;
  GuardedText& operator=(const GuardedText&) = delete;
  ~GuardedText() {
    ::RemoveVectoredExceptionHandler(handler_);
    ::VirtualFree(memory_, 0, MEM_RELEASE);
  }

  // Compares the texts, and returns whether the last character was read.
  bool IsReadToTheEnd(const std::string& other, bool equal) {
    DWORD previous = 0;
    ::VirtualProtect(memory_ + kPage, kPage, PAGE_READWRITE | PAGE_GUARD, &previous);
    g_guardHits = 0;
    EXPECT_EQ(AreEqualInConstantTime({Start(), size_}, other), equal);
    const int hits = g_guardHits;
    ::VirtualProtect(memory_ + kPage, kPage, PAGE_READWRITE, &previous);
    return hits == 1;
  }

 private:
  char* Start() { return memory_ + kPage + 1 - size_; }

  char* memory_;
  void* handler_;
  std::size_t size_;
};

TEST(ConstantTime, ReadsAllCharactersWhereverTheTextsDiffer) {
  const std::string text = "E73DE6449BE0F2CD647F2E5C6279984EEF3D7177";
  GuardedText guarded{text};
  EXPECT_TRUE(guarded.IsReadToTheEnd(text, /*equal=*/true));
  for (std::size_t i = 0; i < text.size(); ++i) {
    SCOPED_TRACE(i);
    std::string other = text;
    other[i] = static_cast<char>(other[i] ^ 0x80);
    EXPECT_TRUE(guarded.IsReadToTheEnd(other, /*equal=*/false));
  }
}

TEST(ConstantTime, ComparesTextsOfAnyLength) {
  EXPECT_TRUE(AreEqualInConstantTime("", ""));
  EXPECT_FALSE(AreEqualInConstantTime("", "a"));
  EXPECT_FALSE(AreEqualInConstantTime("ab", "a"));
  EXPECT_TRUE(AreEqualInConstantTime(std::string("a\0b", 3), std::string("a\0b", 3)));
  EXPECT_FALSE(AreEqualInConstantTime(std::string("a\0b", 3), std::string("a\0c", 3)));
}

}  // namespace
