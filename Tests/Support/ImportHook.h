#pragma once

#include <windows.h>

#include <array>
#include <deque>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportTable.h"

namespace KuvTest {

template <typename Function>
class ImportHook;

/// Replaces one function in the import table of a module, this program or a loaded DLL, for the lifetime
/// of the object:
///
///   ImportHook<decltype(&::GetSystemMetrics)> metrics{"GetSystemMetrics"};
///   metrics.Answer([](int) { return 1; });
///
/// Counts every call, and forwards it unless there is a replacement. Calls from several threads at once are
/// safe only if the replacement is thread-safe. The compiler may keep the address of an import in a register
/// within one function, so create the hook outside the function under test.
template <typename Result, typename... Arguments>
class ImportHook<Result(WINAPI*)(Arguments...)> {
 public:
  using Function = Result(WINAPI*)(Arguments...);
  using Replacement = std::function<Result(Arguments...)>;

  explicit ImportHook(const char* name) : ImportHook(::GetModuleHandleW(nullptr), name) {}

  ImportHook(HMODULE module, const char* name)
      : name_(name), entries_(FindImports(module, name)), slot_(TakeSlot()) {
    if (entries_.empty()) throw std::runtime_error{name_ + " is not imported"};
    original_ = reinterpret_cast<Function>(*entries_.front());
    slots_[slot_] = this;
    for (void** const entry : entries_) WriteImport(entry, reinterpret_cast<void*>(kTrampolines[slot_]));
  }

  ImportHook(const ImportHook&) = delete;
  ImportHook& operator=(const ImportHook&) = delete;

  ~ImportHook() {
    for (void** const entry : entries_) WriteImport(entry, reinterpret_cast<void*>(original_));
    slots_[slot_] = nullptr;
    if (!script_.empty()) ADD_FAILURE() << name_ << ": " << script_.size() << " answers were not asked for";
  }

  /// Replaces every call from now on.
  void Answer(Replacement replacement) { answer_ = std::move(replacement); }

  /// Replaces the calls from now on, in this order. An additional or a missing call fails the test.
  void Script(std::initializer_list<Replacement> answers) {
    scripted_ = true;
    script_.assign(answers.begin(), answers.end());
  }

  /// Replaces the n-th call since the hook was created (the first is 1); forwards all others.
  void AnswerCall(std::size_t number, Replacement replacement) {
    answer_ = [this, number, replacement = std::move(replacement)](Arguments... arguments) {
      return calls_.size() == number ? replacement(arguments...) : original_(arguments...);
    };
  }

  /// Calls the original function.
  Result Original(Arguments... arguments) const { return original_(arguments...); }

  std::size_t CallCount() const { return calls_.size(); }

  /// Returns the arguments of the calls so far. Their pointers may be invalid by now.
  const std::vector<std::tuple<Arguments...>>& Calls() const { return calls_; }

 private:
  static constexpr std::size_t kSlots = 8;

  template <std::size_t Slot>
  static Result WINAPI Trampoline(Arguments... arguments) {
    return slots_[Slot]->Call(arguments...);
  }

  template <std::size_t... Slot>
  static constexpr std::array<Function, kSlots> MakeTrampolines(std::index_sequence<Slot...>) {
    return {&Trampoline<Slot>...};
  }

  static std::size_t TakeSlot() {
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
      if (slots_[slot] == nullptr) return slot;
    }
    throw std::runtime_error{"too many hooks of one type"};
  }

  Result Call(Arguments... arguments) {
    calls_.emplace_back(arguments...);
    if (scripted_) return CallScript(arguments...);
    return answer_ ? answer_(arguments...) : original_(arguments...);
  }

  Result CallScript(Arguments... arguments) {
    if (script_.empty()) {
      ADD_FAILURE() << name_ << " was called more often than its script has answers";
      return original_(arguments...);
    }
    const Replacement answer = std::move(script_.front());
    script_.pop_front();
    return answer(arguments...);
  }

  static constexpr std::array<Function, kSlots> kTrampolines =
      MakeTrampolines(std::make_index_sequence<kSlots>{});
  static inline std::array<ImportHook*, kSlots> slots_{};

  std::string name_;
  std::vector<void**> entries_;
  std::size_t slot_;
  Function original_ = nullptr;
  Replacement answer_;
  bool scripted_ = false;
  std::deque<Replacement> script_;
  std::vector<std::tuple<Arguments...>> calls_;
};

}  // namespace KuvTest

/// Declares a hook of a platform function: KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
#define KUV_IMPORT_HOOK(variable, function)             \
  KuvTest::ImportHook<decltype(&::function)> variable { \
#function                                           \
  }
