#pragma once

#include <iosfwd>
#include <string>

#include <json/json.h>

namespace Tools {

/// Writes a JSON value in UTF-8, indented by two spaces per level, followed by a line feed.
void WriteJson(const Json::Value& value, std::ostream& out);

/// Returns a JSON value as one line of ASCII text without a line end. Other characters are escaped.
std::string JsonLine(const Json::Value& value);

}  // namespace Tools
