// With these definitions, <windows.h> may precede <winsock2.h>.
// The order is the subject.
// clang-format off
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#define STRICT
#include <windows.h>
#include "AllHeadersReversed.h"
#include <winsock2.h>

using SocketFunction = decltype(&::WSAStartup);
