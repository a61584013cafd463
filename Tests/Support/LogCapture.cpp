#include "Support/LogCapture.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "KuvAuth/Support/Text.h"

namespace KuvTest {

struct LogCapture::Handler final : Kuv::ILogHandler {
  void LogWrite(LogLevel, const wchar_t* text) override { lines.emplace_back(text); }
  void LogWrite(LogLevel, const char* text) override { narrowTexts.emplace_back(text); }
  void Flush() override {}

  std::vector<std::wstring> lines;
  std::vector<std::string> narrowTexts;
};

void PrintTo(const LogLine& line, std::ostream* out) {
  *out << "[" << WideToUtf8(LogLevelName(line.level)) << "] " << line.text;
}

LogLine ParseLogLine(const std::wstring& line) {
  const std::size_t tag = line.find(L") [");
  const std::size_t message = tag == std::wstring::npos ? tag : line.find(L"] ", tag);
  if (message == std::wstring::npos || line.size() < 2 || !line.ends_with(L"\r\n")) {
    throw std::runtime_error{"not a log line: " + WideToUtf8(line)};
  }
  const std::wstring name = line.substr(tag + 3, message - tag - 3);
  for (int level = 1; level <= 6; ++level) {
    if (name != LogLevelName(LogLevel{level})) continue;
    return {LogLevel{level}, WideToUtf8(line.substr(message + 2, line.size() - message - 4))};
  }
  throw std::runtime_error{"not a level: " + WideToUtf8(name)};
}

LogCapture::LogCapture(LogLevel minLevel)
    : handler_(std::make_shared<Handler>()), system_(std::make_shared<Kuv::LogSystem>()) {
  system_->minLevel = minLevel;
  system_->AddHandler(handler_);
  before_ = std::exchange(g_logSystem, system_);
}

LogCapture::~LogCapture() {
  g_logSystem = before_;
}

LogLines LogCapture::Lines() const {
  LogLines lines;
  for (const std::wstring& line : handler_->lines) lines.push_back(ParseLogLine(line));
  return lines;
}

const std::vector<std::wstring>& LogCapture::RawLines() const {
  return handler_->lines;
}

const std::vector<std::string>& LogCapture::NarrowTexts() const {
  return handler_->narrowTexts;
}

void LogCapture::Clear() {
  handler_->lines.clear();
  handler_->narrowTexts.clear();
}

bool LogCapture::Contains(const std::string& text) const {
  const auto holds = [&](const std::string& candidate) { return candidate.find(text) != std::string::npos; };
  return std::any_of(handler_->lines.begin(), handler_->lines.end(),
                     [&](const std::wstring& line) { return holds(WideToUtf8(line)); }) ||
         std::any_of(handler_->narrowTexts.begin(), handler_->narrowTexts.end(), holds);
}

}  // namespace KuvTest
