#pragma once

#include <json/value.h>

#include "KuvAuth/Logging/LogLevel.h"

/// @file
/// JSON in the log: the one header that needs jsoncpp.

/// Writes a JSON value to the main log in jsoncpp's styled form, several lines in one write, each ended
/// by carriage return and line feed and none with a prefix. A filtered level writes nothing.
void LogJson(LogLevel level, const Json::Value& value);
