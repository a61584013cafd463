#pragma once

/// @file
/// Whether the library was built with ATL. The build defines `KUV_WITH_ATL`, and the installed copy of this
/// file has that value: a program decides by it, not by whether it has ATL itself.
#if !defined(KUV_WITH_ATL)
#define KUV_WITH_ATL 0
#endif
