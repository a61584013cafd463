#pragma once

#include <string>

/// Requires that an object with texts is initialized at compile time, where that is possible: each text of a
/// Visual C++ debug build allocates memory for its iterators, and clang-tidy 14 cannot evaluate the string
/// constructor of libstdc++.
#if defined(__clang_analyzer__) || defined(_ITERATOR_DEBUG_LEVEL) && _ITERATOR_DEBUG_LEVEL != 0
#define KUV_CONSTINIT_TEXT
#else
#define KUV_CONSTINIT_TEXT constinit
#endif
