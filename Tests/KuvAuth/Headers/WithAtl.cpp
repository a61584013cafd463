// As on a machine with ATL, whose namespace is not used automatically.
// The order is the subject.
// clang-format off
#define _ATL_NO_AUTOMATIC_NAMESPACE
#include "AllHeadersReversed.h"
#include <winsock2.h>
#include <windows.h>

static_assert(sizeof(CAtlException) == sizeof(HRESULT));
