#pragma once

// What these files replace depends on the compiler's version, and most of it breaks silently. Checkers that
// only read the sources report an old version.
#if __GNUC__ > 4 && __GNUC__ != 12 && __GNUC__ != 14
// clang-format off
#error "GccRuntime was reviewed for GCC 12 and 14 only. Review libsupc++ (exception record, thread state, terminate \
handler), libgcc (frame table), libssp and the start-up code of mingw-w64: README.md, Check a new compiler version."
// clang-format on
#endif
