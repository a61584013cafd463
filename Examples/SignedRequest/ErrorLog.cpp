#include "SignedRequest/ErrorLog.h"

#include <memory>
#include <ostream>

#include <KuvAuth/Logging/Logging.h>
#include <KuvAuth/Support/Text.h>

namespace SignedRequest {

namespace {

class StreamHandler final : public Kuv::ILogHandler {
 public:
  explicit StreamHandler(std::ostream& stream) noexcept : stream_(stream) {}

  void LogWrite(LogLevel level, const wchar_t* line) override { LogWrite(level, WideToUtf8(line).c_str()); }
  // The setting `Debug` can lower the level of the log.
  void LogWrite(LogLevel level, const char* text) override {
    if (level >= LogLevel::Warning) stream_ << text;
  }
  void Flush() override { stream_.flush(); }

 private:
  std::ostream& stream_;
};

}  // namespace

ErrorLog::ErrorLog(std::ostream& err) {
  const auto system = std::make_shared<Kuv::LogSystem>();
  system->AddHandler(std::make_shared<StreamHandler>(err));
  ReplaceLogSystem(system);
}

ErrorLog::~ErrorLog() {
  ReplaceLogSystem(nullptr);
}

}  // namespace SignedRequest
