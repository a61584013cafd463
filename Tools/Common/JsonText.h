#pragma once

#include <iosfwd>

#include <json/json.h>

namespace Tools {

/// Writes a JSON value in UTF-8, indented by two spaces per level, followed by a line feed.
void WriteJson(const Json::Value& value, std::ostream& out);

}  // namespace Tools
