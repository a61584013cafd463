#pragma once

#include <windows.h>

#include <utility>

namespace Kuv {

/// Owns one platform resource and releases it at the end of its scope. `Traits` defines the type (`Value`),
/// the value that represents no resource (`None()`) and the release function (`Close`). Releasing preserves
/// the thread's last error, so that a later message reports the original failure.
template <typename Traits>
class UniqueResource {
 public:
  using Value = typename Traits::Value;

  UniqueResource() noexcept = default;
  explicit UniqueResource(Value value) noexcept : value_(value) {}
  UniqueResource(UniqueResource&& other) noexcept : value_(std::exchange(other.value_, Traits::None())) {}
  UniqueResource& operator=(UniqueResource&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.value_, Traits::None()));
    return *this;
  }
  UniqueResource(const UniqueResource&) = delete;
  UniqueResource& operator=(const UniqueResource&) = delete;
  ~UniqueResource() { Reset(); }

  Value Get() const noexcept { return value_; }
  explicit operator bool() const noexcept { return value_ != Traits::None(); }

  /// Releases the resource and returns the address for a platform call to fill.
  Value* Put() noexcept {
    Reset();
    return &value_;
  }

  /// Returns the resource and transfers its ownership to the caller.
  Value Release() noexcept { return std::exchange(value_, Traits::None()); }

  /// Releases the resource and takes ownership of `value`.
  void Reset(Value value = Traits::None()) noexcept {
    const Value old = std::exchange(value_, value);
    if (old == Traits::None()) return;
    const DWORD lastError = ::GetLastError();
    Traits::Close(old);
    ::SetLastError(lastError);
  }

 private:
  Value value_ = Traits::None();
};

struct RegistryKeyTraits {
  using Value = HKEY;
  static Value None() noexcept { return nullptr; }
  static void Close(Value key) noexcept { ::RegCloseKey(key); }
};
/// Owns a registry key; released with `RegCloseKey`.
using UniqueRegistryKey = UniqueResource<RegistryKeyTraits>;

struct FileTraits {
  using Value = HANDLE;
  static Value None() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Value file) noexcept { ::CloseHandle(file); }
};
/// Owns a file handle of `CreateFileW`, `INVALID_HANDLE_VALUE` for none; released with `CloseHandle`.
using UniqueFile = UniqueResource<FileTraits>;

struct LibraryTraits {
  using Value = HMODULE;
  static Value None() noexcept { return nullptr; }
  static void Close(Value library) noexcept { ::FreeLibrary(library); }
};
/// Owns a module of `LoadLibraryW`; released with `FreeLibrary`.
using UniqueLibrary = UniqueResource<LibraryTraits>;

template <typename Type>
struct LocalMemoryTraits {
  using Value = Type*;
  static Value None() noexcept { return nullptr; }
  static void Close(Value memory) noexcept { ::LocalFree(memory); }
};
/// Owns memory of `LocalAlloc`, or of a platform call that allocates with it; released with `LocalFree`.
template <typename Type>
using UniqueLocalMemory = UniqueResource<LocalMemoryTraits<Type>>;

}  // namespace Kuv
