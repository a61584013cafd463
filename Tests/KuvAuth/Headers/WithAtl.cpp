// As on a machine with ATL, whose namespace is not used automatically.
// clang-format off: the order is the subject.
#define _ATL_NO_AUTOMATIC_NAMESPACE
#include "AllHeadersReversed.h"
#include <winsock2.h>
#include <windows.h>

static_assert(sizeof(CAtlException) == sizeof(HRESULT));
