// All public headers before the headers of the platform, which still declare what they declare without ours.
// The order is the subject.
// clang-format off
#include "AllHeaders.h"
#include <winsock2.h>
#include <windows.h>

// <windows.h> declares this without WIN32_LEAN_AND_MEAN only.
using ShellFunction = decltype(&::ShellExecuteW);
using SocketFunction = decltype(&::WSAStartup);
