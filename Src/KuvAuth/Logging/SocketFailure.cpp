#include <winsock2.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/SystemEvents.h"

void LogSocketFailure(const char* operation) {
  const int code = ::WSAGetLastError();
  KUV_LOG(LogLevel::Error, "Failure in socket operation '%s' (%d)", operation, code);
}
