// All public headers after the headers of the platform with all of their macros, in two orders.
// clang-format off: the order is the subject.
#include <winsock2.h>
#include <windows.h>
#include "AllHeaders.h"
#include "AllHeadersReversed.h"
