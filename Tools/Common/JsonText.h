#pragma once

#include <iosfwd>

#include <json/json.h>

namespace Tools {

/// Writes a JSON value as UTF-8, indented by two spaces a level, and ends the line.
void WriteJson(const Json::Value& value, std::ostream& out);

}  // namespace Tools
