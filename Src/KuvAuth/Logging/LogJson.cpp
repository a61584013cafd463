#include "KuvAuth/Logging/LogJson.h"

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogText.h"

void LogJson(LogLevel level, const Json::Value& value) {
  if (!IsLogLevelEnabled(level)) return;
  std::string text = value.toStyledString();
  if (text.empty()) return;
  // Every line feed gets a carriage return, even after one that has a carriage return already.
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2)) {
    text.replace(at, 1, "\r\n");
  }
  if (text.back() != '\n') text += "\r\n";
  LogText(level, text.c_str());
}
