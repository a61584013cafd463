// The lookup of unwind entries on 32-bit x86, replaced for the DLL; see README.md. The original registers the
// table when the DLL is loaded, with the runtime of another module if one is loaded, and otherwise uses a
// semaphore that it never releases. This one reads the table from its section. 64-bit code does not need it,
// because Windows finds the entries.
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "KuvCredFilter/GccRuntime/ReviewedCompiler.h"

// The additional results for the unwinder; it uses only the start of the function.
struct dwarf_eh_bases {
  void* tbase;
  void* dbase;
  void* func;
};

extern "C" {

extern IMAGE_DOS_HEADER __ImageBase;

// Replaces the function that the start-up code calls (linker option --wrap). The original searches for the
// runtime of another module under the loader lock and registers the table there.
void __wrap___gcc_register_frame() {}

// The start-up code refers to these functions, but nothing calls them.
void __register_frame_info(const void*, void*) {}
void* __deregister_frame_info(const void*) {
  return nullptr;
}

}  // extern "C"

namespace {

// The pointer encodings of the table (DW_EH_PE): 4 bytes, absolute or relative to their own place.
constexpr std::uint8_t kSizeMask = 0x07;
constexpr std::uint8_t kAbsolute = 0x00;
constexpr std::uint8_t kFourBytes = 0x03;
constexpr std::uint8_t kBaseMask = 0x70;
constexpr std::uint8_t kFromItsPlace = 0x10;

struct Bytes {
  const std::uint8_t* begin = nullptr;
  const std::uint8_t* end = nullptr;
};

std::uint32_t Number(const std::uint8_t* place) noexcept {
  std::uint32_t number = 0;
  std::memcpy(&number, place, sizeof(number));
  return number;
}

// A section header has the first eight characters of the name only.
Bytes FrameSection() noexcept {
  const auto* const image = reinterpret_cast<const std::uint8_t*>(&__ImageBase);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + __ImageBase.e_lfanew);
  const IMAGE_SECTION_HEADER* const sections = IMAGE_FIRST_SECTION(headers);
  for (WORD i = 0; i < headers->FileHeader.NumberOfSections; ++i) {
    if (std::memcmp(sections[i].Name, ".eh_fram", sizeof(sections[i].Name)) == 0) {
      const std::uint8_t* const begin = image + sections[i].VirtualAddress;
      return {begin, begin + sections[i].Misc.VirtualSize};
    }
  }
  return {};
}

void SkipLeb128(Bytes& rest) noexcept {
  while (rest.begin != rest.end && (*rest.begin++ & 0x80) != 0) {
  }
}

// Returns how a common information entry (CIE) encodes the addresses of the entries that refer to it.
std::uint8_t AddressEncoding(Bytes rest) noexcept {
  const std::uint8_t version = *rest.begin++;
  const char* augmentation = reinterpret_cast<const char*>(rest.begin);
  rest.begin += std::strlen(augmentation) + 1;
  if (*augmentation != 'z') return kAbsolute;
  SkipLeb128(rest);  // the alignment factors of code and data
  SkipLeb128(rest);
  if (version == 1) {
    ++rest.begin;
  } else {
    SkipLeb128(rest);
  }
  SkipLeb128(rest);  // the length of the augmentation data
  while (*++augmentation != '\0' && rest.begin < rest.end) {
    if (*augmentation == 'R') return *rest.begin;
    if (*augmentation == 'L') ++rest.begin;
    if (*augmentation == 'P') rest.begin += 1 + sizeof(void*);
  }
  return kAbsolute;
}

bool IsKnown(std::uint8_t encoding) noexcept {
  const std::uint8_t size = encoding & kSizeMask;
  const std::uint8_t base = encoding & kBaseMask;
  return (size == kAbsolute || size == kFourBytes) && (base == 0 || base == kFromItsPlace);
}

}  // namespace

// An entry consists of its length, the distance back to its common information entry (CIE), and the start and
// size of the function. A CIE has the distance 0. The end of the table has the length 0.
extern "C" const void* _Unwind_Find_FDE(void* address, dwarf_eh_bases* bases) {
  constexpr std::size_t kNumber = sizeof(std::uint32_t);
  const Bytes section = FrameSection();
  const auto target = reinterpret_cast<std::uintptr_t>(address);
  for (const std::uint8_t* entry = section.begin; section.end - entry > 4 * std::ptrdiff_t{kNumber};) {
    const std::uint32_t length = Number(entry);
    const std::uint8_t* const content = entry + kNumber;
    if (length < 3 * kNumber || length > static_cast<std::size_t>(section.end - content)) break;
    const std::uint32_t distance = Number(content);
    if (distance > static_cast<std::size_t>(content - section.begin)) break;
    if (distance != 0) {
      const std::uint8_t* const common = content - distance;
      const std::uint8_t encoding =
          AddressEncoding({common + 2 * kNumber, common + kNumber + Number(common)});
      if (IsKnown(encoding)) {
        const std::uint8_t* const place = content + kNumber;
        std::uintptr_t start = Number(place);
        if ((encoding & kBaseMask) == kFromItsPlace) start += reinterpret_cast<std::uintptr_t>(place);
        if (target - start < Number(place + kNumber)) {
          *bases = {nullptr, nullptr, reinterpret_cast<void*>(start)};
          return entry;
        }
      }
    }
    entry = content + length;
  }
  return nullptr;
}
