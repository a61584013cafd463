// Where the 32-bit unwinder finds the frames of this module, for the DLL alone. The compiler's own lists them
// when the DLL is loaded, behind a semaphore that it never gives back, or in another module's runtime if that
// is there first. This one reads the table where the linker has put it; on 64 bits the platform does that.
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

// What the unwinder asks for beside the entry: the function's start.
struct dwarf_eh_bases {
  void* tbase;
  void* dbase;
  void* func;
};

extern "C" {

extern IMAGE_DOS_HEADER __ImageBase;

// What the compiler's start-up code calls, in whose place the linker puts this (--wrap): it would look for
// the runtime of another module, under the loader's lock, and enter the table there.
void __wrap___gcc_register_frame() {}

// What that code refers to. Nobody calls them.
void __register_frame_info(const void*, void*) {}
void* __deregister_frame_info(const void*) {
  return nullptr;
}

}  // extern "C"

namespace {

// The pointer encodings of the table (DW_EH_PE): a number of 4 bytes, as it stands or from its own place.
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

// The linker's name of the section is cut to the eight characters that a header has.
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

// Gives how a common entry encodes the addresses of those that refer to it.
std::uint8_t AddressEncoding(Bytes rest) noexcept {
  const std::uint8_t version = *rest.begin++;
  const char* augmentation = reinterpret_cast<const char*>(rest.begin);
  rest.begin += std::strlen(augmentation) + 1;
  if (*augmentation != 'z') return kAbsolute;
  SkipLeb128(rest);  // the alignments of code and data
  SkipLeb128(rest);
  if (version == 1) {
    ++rest.begin;
  } else {
    SkipLeb128(rest);
  }
  SkipLeb128(rest);  // the length of what follows
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

// An entry is its length, the way back to its common entry, the function's start and size. A common entry has
// 0 in the second place, the end of the table in the first.
extern "C" const void* _Unwind_Find_FDE(void* address, dwarf_eh_bases* bases) {
  constexpr std::size_t kNumber = sizeof(std::uint32_t);
  const Bytes section = FrameSection();
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  for (const std::uint8_t* entry = section.begin; section.end - entry > 4 * std::ptrdiff_t{kNumber};) {
    const std::uint32_t length = Number(entry);
    const std::uint8_t* const way = entry + kNumber;
    if (length < 3 * kNumber || length > static_cast<std::size_t>(section.end - way)) break;
    const std::uint32_t back = Number(way);
    if (back > static_cast<std::size_t>(way - section.begin)) break;
    if (back != 0) {
      const std::uint8_t* const common = way - back;
      const std::uint8_t* const content = common + 2 * kNumber;
      const std::uint8_t encoding = AddressEncoding({content, common + kNumber + Number(common)});
      if (IsKnown(encoding)) {
        const std::uint8_t* const place = way + kNumber;
        std::uintptr_t start = Number(place);
        if ((encoding & kBaseMask) == kFromItsPlace) start += reinterpret_cast<std::uintptr_t>(place);
        if (wanted - start < Number(place + kNumber)) {
          *bases = {nullptr, nullptr, reinterpret_cast<void*>(start)};
          return entry;
        }
      }
    }
    entry = way + length;
  }
  return nullptr;
}
