// Compares the log with spdlog, which writes the same line in the same process, and with bare platform calls.

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include "AllocationCount.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogMessage.h"
#include "KuvAuth/Support/CriticalSection.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "SpdlogLogger.h"
#include "Support/Comparison.h"
#include "Support/TempFolder.h"
#include "Support/ThreadGroup.h"

namespace {

using Kuv::kLogLineCapacity;
using KuvBench::Compare;
using KuvBench::DiscardingSink;
using KuvBench::Goal;
using KuvBench::InBatches;
using KuvBench::Repeat;
using KuvBench::ThreadGroup;
using KuvBench::Work;
using SpdlogLogger = std::shared_ptr<spdlog::logger>;

// Volatile, so that every line reads them again and the compiler cannot format a message in advance.
volatile int g_scenario = 1;
const char* volatile g_scenarioName = "CPUS_LOGON";

// Like the lock of a log system.
Kuv::CriticalSection g_lineLock{1000};

constexpr char kFormat[] = "Usage scenario %d/%s supported";
constexpr char kSpdlogFormat[] = "Usage scenario {}/{} supported";

void LogOurs(LogLevel level) {
  KUV_LOG(level, "Usage scenario %d/%s supported", g_scenario, g_scenarioName);
}

void LogBySpdlog(spdlog::logger& logger, spdlog::level::level_enum level) {
  logger.log(level, kSpdlogFormat, static_cast<int>(g_scenario), static_cast<const char*>(g_scenarioName));
}

Work OurLines() {
  return Repeat([] { LogOurs(LogLevel::Info); });
}

Work SpdlogLines(const SpdlogLogger& logger) {
  return Repeat([logger] { LogBySpdlog(*logger, spdlog::level::info); });
}

struct NullHandler final : Kuv::ILogHandler {
  void LogWrite(LogLevel, const wchar_t* text) override { benchmark::DoNotOptimize(text); }
  void LogWrite(LogLevel, const char* text) override { benchmark::DoNotOptimize(text); }
  void Flush() override {}
};

struct KeepingHandler final : Kuv::ILogHandler {
  void LogWrite(LogLevel, const wchar_t* text) override { line = WideToUtf8(text); }
  void LogWrite(LogLevel, const char*) override {}
  void Flush() override {}

  std::string line;
};

// Sets the main log of this program, with one handler, for the lifetime of the object.
class MainLog {
 public:
  explicit MainLog(const std::shared_ptr<Kuv::ILogHandler>& handler) {
    g_logSystem = std::make_shared<Kuv::LogSystem>();
    g_logSystem->AddHandler(handler);
  }
  ~MainLog() { g_logSystem.reset(); }
  MainLog(const MainLog&) = delete;
  MainLog& operator=(const MainLog&) = delete;
};

std::shared_ptr<Kuv::ILogHandler> FileHandler(const std::wstring& path) {
  return Kuv::OpenFileLogger(path, /*maxSizeKB=*/0, /*maxCount=*/0);
}

std::string OurLine() {
  const auto handler = std::make_shared<KeepingHandler>();
  const MainLog log{handler};
  LogOurs(LogLevel::Info);
  return handler->line;
}

std::string SpdlogLine() {
  const auto sink = std::make_shared<DiscardingSink>();
  LogBySpdlog(*KuvBench::MakeSpdlogLogger(sink), spdlog::level::info);
  return sink->Line();
}

// Ignores the time, because the lines are written one after the other.
void RequireSameLine() {
  constexpr std::size_t kTimeLength = 17;
  const std::string ours = OurLine();
  const std::string theirs = SpdlogLine();
  if (ours.size() != theirs.size() || ours.substr(kTimeLength) != theirs.substr(kTimeLength)) {
    throw std::runtime_error{"the lines differ:\n" + ours + theirs};
  }
}

void FormatByPlatform(char (&message)[kLogLineCapacity], const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  _vsnprintf_s(message, kLogLineCapacity, _TRUNCATE, format, arguments);
  va_end(arguments);
}

// Calls the platform functions that a line calls, and no others: ASCII text is converted without the
// platform.
void CallPlatformForLine() {
  char message[kLogLineCapacity];
  FormatByPlatform(message, kFormat, g_scenario, g_scenarioName);
  benchmark::DoNotOptimize(message);
  SYSTEMTIME now;
  ::GetLocalTime(&now);
  benchmark::DoNotOptimize(now);
  benchmark::DoNotOptimize(::GetCurrentProcessId());
  benchmark::DoNotOptimize(::GetCurrentThreadId());
  g_lineLock.lock();
  g_lineLock.unlock();
}

void FilteredCall(benchmark::State& state) {
  const MainLog log{std::make_shared<NullHandler>()};
  const SpdlogLogger logger = KuvBench::MakeSpdlogLogger(std::make_shared<DiscardingSink>());
  Compare(state, {"spdlog", Goal{1.0}, Repeat([] { LogOurs(LogLevel::Debug); }),
                  Repeat([&] { LogBySpdlog(*logger, spdlog::level::debug); })});
}
BENCHMARK(FilteredCall)->Apply(InBatches);

void NullHandlerLine(benchmark::State& state) {
  const MainLog log{std::make_shared<NullHandler>()};
  const SpdlogLogger logger = KuvBench::MakeSpdlogLogger(std::make_shared<DiscardingSink>());
  Compare(state, {"spdlog, line dropped", Goal{1.5}, OurLines(), SpdlogLines(logger)});
}
BENCHMARK(NullHandlerLine)->Apply(InBatches);

// Has no goal: with this sink, spdlog does not format the line and does not read the clock.
void NullHandlerLineAgainstNullSink(benchmark::State& state) {
  const MainLog log{std::make_shared<NullHandler>()};
  const SpdlogLogger logger = KuvBench::MakeSpdlogLogger(std::make_shared<spdlog::sinks::null_sink_mt>());
  Compare(state, {"spdlog, line not formatted", Goal{}, OurLines(), SpdlogLines(logger)});
}
BENCHMARK(NullHandlerLineAgainstNullSink)->Apply(InBatches);

// What each line requires until a handler has it: a buffer that is zero after the text, because handlers may
// look at all of it, and the platform calls.
void ZeroBufferAndCallPlatform() {
  wchar_t line[kLogLineCapacity] = {};
  benchmark::DoNotOptimize(line);
  CallPlatformForLine();
}

void NullHandlerLineAgainstRequired(benchmark::State& state) {
  const MainLog log{std::make_shared<NullHandler>()};
  Compare(state, {"platform calls, zeroed buffer", Goal{1.1}, OurLines(), Repeat(ZeroBufferAndCallPlatform)});
}
BENCHMARK(NullHandlerLineAgainstRequired)->Apply(InBatches);

// Has no goal: shows the share of the buffer. Filling it alone takes more than a tenth of the time of these
// calls.
void NullHandlerLineAgainstCalls(benchmark::State& state) {
  const MainLog log{std::make_shared<NullHandler>()};
  Compare(state, {"platform calls", Goal{}, OurLines(), Repeat(CallPlatformForLine)});
}
BENCHMARK(NullHandlerLineAgainstCalls)->Apply(InBatches);

void FileLine(benchmark::State& state) {
  const KuvTest::TempFolder folder;
  const MainLog log{FileHandler(folder.Path(L"ours.log"))};
  const SpdlogLogger logger = KuvBench::MakeSpdlogFileLogger(folder.Path(L"spdlog.log"));
  Compare(state, {"spdlog, flushed", Goal{1.0}, OurLines(), SpdlogLines(logger)});
}
BENCHMARK(FileLine)->Apply(InBatches);

// A file with the same options as the log file, to which finished lines are written.
class BareFile {
 public:
  explicit BareFile(const std::wstring& path)
      : file_(::CreateFileW(path.c_str(), FILE_APPEND_DATA,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                            FILE_FLAG_WRITE_THROUGH | FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (!file_) throw std::runtime_error{"a log file cannot be opened"};
  }

  void Write() const {
    DWORD written = 0;
    ::WriteFile(file_.Get(), line_.data(), static_cast<DWORD>(line_.size()), &written, nullptr);
  }

 private:
  Kuv::UniqueFile file_;
  std::string line_ = OurLine();
};

void FileLineAgainstPlatform(benchmark::State& state) {
  const KuvTest::TempFolder folder;
  const BareFile bare{folder.Path(L"bare.log")};
  const MainLog log{FileHandler(folder.Path(L"ours.log"))};
  const auto callPlatform = [&] {
    CallPlatformForLine();
    bare.Write();
  };
  Compare(state, {"platform calls, WriteFile", Goal{1.1}, OurLines(), Repeat(callPlatform)});
}
BENCHMARK(FileLineAgainstPlatform)->Apply(InBatches);

// Uses longer batches, so that the start and end of a batch in several threads take a small part of it.
void CompareThreads(benchmark::State& state, const char* name, const SpdlogLogger& logger) {
  const auto threads = static_cast<std::size_t>(state.range(0));
  ThreadGroup ours{threads, OurLines()};
  ThreadGroup theirs{threads, SpdlogLines(logger)};
  Compare(state, {name, Goal{}, [&](std::size_t count) { ours.Run(count); },
                  [&](std::size_t count) { theirs.Run(count); }, std::chrono::milliseconds{5}});
}

void NullHandlerLineThreads(benchmark::State& state) {
  const MainLog log{std::make_shared<NullHandler>()};
  CompareThreads(state, "spdlog, line dropped",
                 KuvBench::MakeSpdlogLogger(std::make_shared<DiscardingSink>()));
}
BENCHMARK(NullHandlerLineThreads)->Arg(2)->Arg(4)->Apply(KuvBench::InLongBatches);

void FileLineThreads(benchmark::State& state) {
  const KuvTest::TempFolder folder;
  const MainLog log{FileHandler(folder.Path(L"ours.log"))};
  CompareThreads(state, "spdlog, flushed", KuvBench::MakeSpdlogFileLogger(folder.Path(L"spdlog.log")));
}
BENCHMARK(FileLineThreads)->Arg(2)->Arg(4)->Apply(KuvBench::InLongBatches);

void HeapAllocations(benchmark::State& state) {
  const KuvTest::TempFolder folder;
  const MainLog log{std::make_shared<NullHandler>()};
  g_logSystem->AddHandler(FileHandler(folder.Path(L"ours.log")));
  const std::size_t before = AllocationCount();
  for ([[maybe_unused]] auto iteration : state) {
    LogOurs(LogLevel::Info);
    KUV_LOG(LogLevel::Info, L"Usage scenario %d/%S supported", g_scenario, g_scenarioName);
  }
  state.counters["allocations"] = static_cast<double>(AllocationCount() - before);
}
BENCHMARK(HeapAllocations)->Iterations(10000);

}  // namespace

int main(int argc, char** argv) {
  try {
    RequireSameLine();
    return KuvBench::RunBenchmarks(argc, argv);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "LogBenchmarks: %s\n", exception.what());
    return 1;
  }
}
