// All public headers before the headers of the platform, which still declare what they declare without ours.
// clang-format off: the order is the subject.
#include "AllHeaders.h"
#include <winsock2.h>
#include <windows.h>

// <windows.h> declares this without WIN32_LEAN_AND_MEAN only.
using ShellFunction = decltype(&::ShellExecuteW);
using SocketFunction = decltype(&::WSAStartup);
