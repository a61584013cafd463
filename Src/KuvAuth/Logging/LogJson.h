#pragma once

#include <json/value.h>

#include "KuvAuth/Logging/LogLevel.h"

/// @file
/// JSON values in the log. This is the only header that needs jsoncpp.

/// Writes a JSON value to the main log in jsoncpp's styled form: several lines in one write, terminated by
/// carriage return and line feed, without a prefix. Does nothing for a filtered level.
void LogJson(LogLevel level, const Json::Value& value);
