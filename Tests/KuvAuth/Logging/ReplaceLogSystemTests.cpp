#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogHandlers.h"
#include "Support/ImportHook.h"

namespace {

using Events = std::vector<std::string>;

// Records each call and whether the main log is still the watched one, or already its successor.
class ObservingHandler : public Kuv::ILogHandler {
 public:
  ObservingHandler(Events& events, std::string name) : events_(events), name_(std::move(name)) {}
  virtual ~ObservingHandler() { Record("destroyed"); }
  void LogWrite(LogLevel, const wchar_t*) override {}
  void LogWrite(LogLevel, const char*) override {}
  void Flush() override { Record("flush"); }

  const Kuv::LogSystem* watched = nullptr;
  const Kuv::LogSystem* successor = nullptr;

 private:
  void Record(const char* event) {
    const Kuv::LogSystem* const current = g_logSystem.get();
    const char* const place = current == watched     ? ", in place"
                              : current == successor ? ", replaced"
                                                     : ", lost";
    events_.push_back(name_ + " " + event + place);
  }

  Events& events_;
  std::string name_;
};

std::shared_ptr<Kuv::LogSystem> ObservedSystem(Events& events, std::initializer_list<const char*> names,
                                               const Kuv::LogSystem* successor = nullptr) {
  auto system = std::make_shared<Kuv::LogSystem>();
  for (const char* const name : names) {
    auto handler = std::make_shared<ObservingHandler>(events, name);
    handler->watched = system.get();
    handler->successor = successor;
    system->AddHandler(handler);
  }
  return system;
}

TEST(ReplaceLogSystem, FlushesTheOldSystemAndDestroysItAfterTheNewOneIsInPlace) {
  Events events;
  const auto fresh = std::make_shared<Kuv::LogSystem>();
  g_logSystem = ObservedSystem(events, {"a", "b"}, fresh.get());
  ReplaceLogSystem(fresh);
  EXPECT_EQ(g_logSystem, fresh);
  EXPECT_EQ(fresh.use_count(), 2);
  EXPECT_EQ(events, (Events{"a flush, in place", "b flush, in place", "a destroyed, replaced",
                            "b destroyed, replaced"}));
  g_logSystem.reset();
}

TEST(ReplaceLogSystem, DoesNotDestroyAnOldSystemWithAnotherOwner) {
  Events events;
  auto old = ObservedSystem(events, {"a"});
  g_logSystem = old;
  ReplaceLogSystem(nullptr);
  EXPECT_EQ(g_logSystem, nullptr);
  EXPECT_EQ(events, (Events{"a flush, in place"}));
  EXPECT_EQ(old.use_count(), 1);
}

TEST(ReplaceLogSystem, FlushesInsideTheOldSystemsLock) {
  Events events;
  g_logSystem = ObservedSystem(events, {"a"});
  KUV_IMPORT_HOOK(enter, EnterCriticalSection);
  KUV_IMPORT_HOOK(leave, LeaveCriticalSection);
  enter.Answer([&](CRITICAL_SECTION* section) {
    enter.Original(section);
    events.push_back("enter");
  });
  leave.Answer([&](CRITICAL_SECTION* section) {
    events.push_back("leave");
    leave.Original(section);
  });
  ReplaceLogSystem(nullptr);
  EXPECT_EQ(events,
            (Events{"enter", "a flush, in place", "leave", "enter", "a destroyed, replaced", "leave"}));
}

TEST(ReplaceLogSystem, DoesNotFlushTheNewSystem) {
  Events events;
  const auto fresh = ObservedSystem(events, {"a"});
  ReplaceLogSystem(fresh);
  EXPECT_EQ(events, Events{});
  g_logSystem.reset();
}

TEST(ReplaceLogSystem, KeepsTheSystemThatReplacesItself) {
  Events events;
  g_logSystem = ObservedSystem(events, {"a"});
  Kuv::LogSystem* const system = g_logSystem.get();
  ReplaceLogSystem(GetLogSystem());
  EXPECT_EQ(g_logSystem.get(), system);
  EXPECT_EQ(events, (Events{"a flush, in place"}));
  g_logSystem.reset();
}

}  // namespace
