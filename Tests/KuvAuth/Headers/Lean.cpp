// With these definitions, <windows.h> may precede <winsock2.h>.
// clang-format off: the order is the subject.
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#define STRICT
#include <windows.h>
#include "AllHeadersReversed.h"
#include <winsock2.h>

using SocketFunction = decltype(&::WSAStartup);
