#pragma once

/// @file
/// Includes all logging headers except LogJson.h, which needs jsoncpp.
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogHandlers.h"
#include "KuvAuth/Logging/LogLevel.h"
#include "KuvAuth/Logging/LogRotation.h"
#include "KuvAuth/Logging/LogSystem.h"
#include "KuvAuth/Logging/LogText.h"
#include "KuvAuth/Logging/PlainLog.h"
#include "KuvAuth/Logging/SystemEvents.h"
