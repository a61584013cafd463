#include "Common/JsonText.h"

#include <memory>
#include <ostream>

namespace Tools {

void WriteJson(const Json::Value& value, std::ostream& out) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;
  const std::unique_ptr<Json::StreamWriter> writer{builder.newStreamWriter()};
  writer->write(value, &out);
  out << '\n';
}

std::string JsonLine(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

}  // namespace Tools
