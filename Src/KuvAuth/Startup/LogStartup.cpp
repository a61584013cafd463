#include "KuvAuth/Startup/LogStartup.h"

#include <algorithm>
#include <cstdint>
#include <memory>

#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogHandlers.h"
#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"

namespace {

std::unique_ptr<Kuv::FileLogger> OpenMainFile(const std::wstring& fileName, std::uint64_t maxSizeKB,
                                              std::uint64_t maxCount) {
  if (!fileName.empty()) return Kuv::OpenFileLogger(fileName, maxSizeKB, maxCount);
  return Kuv::OpenFileLogger(GetAppDataFilePath(L"kuv.log"), maxSizeKB, maxCount);
}

// The settings are signed, as required: one with its top bit set becomes a very large number here and so is
// limited to the upper bound.
std::uint64_t SignedDwordSetting(const char* name) {
  return static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(GetDwordSetting(name, 0))});
}

std::uint64_t MaxSizeKBSetting() {
  const std::uint64_t sizeKB = SignedDwordSetting("LogFileMaxSizeMB") * 1024;
  constexpr std::uint64_t kSmallest = 1024;
  constexpr std::uint64_t kLargest = std::uint64_t{4096} * 1024;
  return sizeKB == 0 ? 0 : std::clamp(sizeKB, kSmallest, kLargest);
}

std::uint64_t MaxCountSetting() {
  return std::min<std::uint64_t>(SignedDwordSetting("LogFileMaxCount"), 100);
}

}  // namespace

bool StartLogging(const std::wstring& fileName) {
  if (const std::shared_ptr<Kuv::LogSystem> present = g_logSystem) return true;
  auto system = std::make_shared<Kuv::LogSystem>();
  system->AddHandler(std::make_shared<Kuv::DebugLogger>());
  const std::uint64_t maxSizeKB = MaxSizeKBSetting();
  const std::uint64_t maxCount = MaxCountSetting();
  const std::shared_ptr<Kuv::FileLogger> file = OpenMainFile(fileName, maxSizeKB, maxCount);
  system->AddHandler(file);
  ReplaceLogSystem(system);
  return file != nullptr;
}

void StopLogging() {
  ReplaceLogSystem(nullptr);
}
