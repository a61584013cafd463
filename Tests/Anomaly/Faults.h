#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace KuvTest {

/// What one import opens and another closes.
enum class Resource { None, RegistryKey, Handle, Sid, LocalMemory, HeapBlock, CriticalSection, Lock, Module };

/// One way in which a function fails: its result and the last error that it sets.
struct FailingAnswer {
  std::intptr_t result;
  DWORD lastError;
};

/// Which calls a fault counts: those of platform functions, or heap allocations.
enum class Domain { Platform, Memory };

/// How one import is tracked and made to fail.
struct ImportRule {
  const char* name;
  void* forwarder;          ///< written to the import table
  void** original;          ///< where the forwarder reads the function
  const ImportRule** self;  ///< where it reads this rule
  Domain domain = Domain::Platform;
  std::vector<FailingAnswer> failures{};
  bool worksAllTheSame = false;  ///< releases its resource even if it returns a failure
  Resource opens = Resource::None;
  int openedArgument = -1;           ///< the argument that is or points at the resource; -1: the result
  Resource closes = Resource::None;  ///< always the first argument
  bool succeedsWithZero = false;     ///< a status
  bool recorded = false;             ///< its answers are kept for `AnswerModel`
};

/// A fault: the n-th call of its domain fails (the first is 1; 0: none), or that and all that follow.
struct Fault {
  Domain domain = Domain::Platform;
  std::size_t call = 0;
  bool toTheEnd = false;
  std::size_t answer = 0;  ///< which of the failures of the function, modulo their number
};

/// The result of a recorded function.
struct Answer {
  std::string function;
  std::string subject;  ///< the name of a key or value, as ASCII
  std::intptr_t result = 0;
  DWORD type = 0;
  std::vector<std::uint8_t> data;
};

/// Replaces the imports of the DLL from the moment it is mapped, before its code runs, until it is unloaded:
/// forwards every call, makes the armed ones fail, and tracks the resources that are opened and not closed.
/// One object at a time, for one thread, unless it watches nothing and only returns the answers of
/// `TheMachine`.
class FaultyImports {
 public:
  enum class Watch { Everything, Nothing };

  explicit FaultyImports(Watch watch = Watch::Everything);
  ~FaultyImports();
  FaultyImports(const FaultyImports&) = delete;
  FaultyImports& operator=(const FaultyImports&) = delete;

  /// Resets the call counts and arms a fault.
  void Arm(const Fault& fault);
  /// Forwards every call uncounted until `Rearm`.
  void Disarm();
  void Rearm();
  std::size_t CallCount(Domain domain) const;
  /// Returns whether a call has failed since the fault was armed, or since the last `TakeAnswers`.
  bool HasStruck() const;
  bool HasStruckSinceArmed() const;
  /// Returns the answers of recorded functions since the last call.
  std::vector<Answer> TakeAnswers();

  /// Returns the open resources, such as "2 RegistryKey, 1 HeapBlock", and those that were closed without
  /// being open; empty if there are none.
  std::string Outstanding() const;
  /// Drops the tracked resources, after a leak was reported.
  void ForgetOutstanding();

  /// Returns the imports that have neither a rule nor a reason.
  const std::vector<std::string>& Unclassified() const;
  /// Returns the imports that can fail and that no fault has struck since the start.
  std::vector<std::string> NeverStruck(Domain domain) const;
};

/// Describes the armed fault and the functions that failed for it.
std::string DescribeFault();

// For the forwarders.
const FailingAnswer* BeginCall(const ImportRule& rule);
void EndCall(const ImportRule& rule, const std::intptr_t* arguments, std::intptr_t result, bool failed);

/// Returns the rules of all imports that can fail or that open or close a resource.
std::span<const ImportRule> ImportRules();
/// Returns why an import needs no rule; null if it is unknown.
const char* WhyItCannotFail(const std::string& import);

/// Results of the platform that the tests choose and the forwarders return.
struct MachineAnswers {
  std::wstring appData;
  int remoteSession = 0;
  bool logIsFull = false;  ///< the log file has reached its limit
  bool dropsLog = false;   ///< writes to files are dropped
};
MachineAnswers& TheMachine();

}  // namespace KuvTest
