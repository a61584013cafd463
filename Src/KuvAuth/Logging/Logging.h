#pragma once

/// @file
/// All of logging except `LogJson`, which needs jsoncpp and is in LogJson.h.
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogHandlers.h"
#include "KuvAuth/Logging/LogLevel.h"
#include "KuvAuth/Logging/LogRotation.h"
#include "KuvAuth/Logging/LogSystem.h"
#include "KuvAuth/Logging/LogText.h"
#include "KuvAuth/Logging/PlainLog.h"
#include "KuvAuth/Logging/SystemEvents.h"
