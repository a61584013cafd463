// All public headers after the headers of the platform with all of their macros, in two orders.
// The order is the subject.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include "AllHeaders.h"
#include "AllHeadersReversed.h"
