#pragma once

/// Inlines a function even if the compiler would choose not to.
#if defined(_MSC_VER)
#define KUV_FORCE_INLINE __forceinline
#else
#define KUV_FORCE_INLINE [[gnu::always_inline]] inline
#endif
