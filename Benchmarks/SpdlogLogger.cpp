#include "SpdlogLogger.h"

#include <filesystem>

#include <spdlog/sinks/basic_file_sink.h>

namespace KuvBench {

std::shared_ptr<spdlog::logger> MakeSpdlogLogger(const spdlog::sink_ptr& sink) {
  auto logger = std::make_shared<spdlog::logger>("spdlog", sink);
  logger->set_pattern("%D %T [%P](%t) [%l] %v");
  logger->set_level(spdlog::level::info);
  return logger;
}

std::shared_ptr<spdlog::logger> MakeSpdlogFileLogger(const std::wstring& path) {
  auto logger = MakeSpdlogLogger(std::make_shared<spdlog::sinks::basic_file_sink_mt>(
      std::filesystem::path{path}.string(), /*truncate=*/true));
  logger->flush_on(spdlog::level::trace);
  return logger;
}

}  // namespace KuvBench
