#pragma once

#include <iosfwd>

#include <json/json.h>

namespace FilterHost {

/// Writes a JSON value as UTF-8 with an indentation of two blanks, and ends the line.
void WriteJson(const Json::Value& value, std::ostream& out);

}  // namespace FilterHost
