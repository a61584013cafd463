// Holds every object of the installed library, and logs to its own output. Nothing here uses jsoncpp, so that
// only the library needs it.
#include <cstdio>
#include <memory>

#include "AllHeaders.h"

namespace {

struct OutputHandler final : Kuv::ILogHandler {
  void LogWrite(LogLevel, const char* text) override { std::fputs(text, stdout); }
  void LogWrite(LogLevel, const wchar_t* text) override { std::fputs(WideToUtf8(text).c_str(), stdout); }
  void Flush() override { std::fflush(stdout); }
};

}  // namespace

int main() {
  const auto system = std::make_shared<Kuv::LogSystem>();
  system->AddHandler(std::make_shared<OutputHandler>());
  ReplaceLogSystem(system);
  LogText(LogLevel::Info, Kuv::Util::BuildProductToken().c_str());
  ReplaceLogSystem(nullptr);
}
