// As with a library that was built with ATL, whose namespace is not used automatically.
// The order is the subject.
// clang-format off
#define _ATL_NO_AUTOMATIC_NAMESPACE
#include "AllHeadersReversed.h"
#include <winsock2.h>
#include <windows.h>
#include <type_traits>

static_assert(std::is_same_v<CAtlException, ATL::CAtlException>);
