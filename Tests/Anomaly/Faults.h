#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace KuvTest {

/// What an import hands out and another takes back.
enum class Resource { None, RegistryKey, Handle, Sid, LocalMemory, HeapBlock, CriticalSection, Lock, Module };

/// One way in which a function fails: what it returns, and the last error that it leaves.
struct FailingAnswer {
  std::intptr_t result;
  DWORD lastError;
};

/// Which calls a fault counts: those of the platform's functions, or those for memory of the heap.
enum class Domain { Platform, Memory };

/// How one import is watched and made to fail.
struct ImportRule {
  const char* name;
  void* forwarder;          ///< stands in the import table
  void** original;          ///< where the forwarder finds the function
  const ImportRule** self;  ///< where it finds this rule
  Domain domain = Domain::Platform;
  std::vector<FailingAnswer> failures{};
  bool worksAllTheSame = false;  ///< what it releases is gone even if it answers with a failure
  Resource opens = Resource::None;
  int openedArgument = -1;  ///< the argument that names the resource or points at its place; -1: the result
  Resource closes = Resource::None;  ///< always the first argument
  bool succeedsWithZero = false;     ///< a status
  bool recorded = false;             ///< its answers are kept for the judge
};

/// A fault: the n-th call of its domain fails (the first is 1; 0: none), or that and all that follow.
struct Fault {
  Domain domain = Domain::Platform;
  std::size_t call = 0;
  bool toTheEnd = false;
  std::size_t answer = 0;  ///< which of the function's failures, counted round
};

/// What a recorded function answered.
struct Answer {
  std::string function;
  std::string subject;  ///< the name of a key or value, as ASCII
  std::intptr_t result = 0;
  DWORD type = 0;
  std::vector<std::uint8_t> data;
};

/// Stands between the DLL and its imports from the moment it is mapped, before any of its code has run, until
/// it is gone: forwards every call, fails those that it is told to, keeps the books of what was handed out
/// and not taken back. One at a time. It is for one thread, unless it watches nothing and merely gives the
/// answers of `TheMachine`.
class FaultyImports {
 public:
  enum class Watch { Everything, Nothing };

  explicit FaultyImports(Watch watch = Watch::Everything);
  ~FaultyImports();
  FaultyImports(const FaultyImports&) = delete;
  FaultyImports& operator=(const FaultyImports&) = delete;

  /// Counts calls anew and arms a fault.
  void Arm(const Fault& fault);
  /// Lets every call through from here on, uncounted, until `Rearm`.
  void Disarm();
  void Rearm();
  std::size_t CallCount(Domain domain) const;
  /// Whether a call has failed since the fault was armed, or since the last `TakeAnswers`.
  bool HasStruck() const;
  bool HasStruckSinceArmed() const;
  /// The answers of recorded functions since the last time.
  std::vector<Answer> TakeAnswers();

  /// What is out: "2 RegistryKey, 1 HeapBlock"; empty if all is back. Also tells what was returned that
  /// was never handed out.
  std::string Outstanding() const;
  /// Forgets the books, after a leak was reported.
  void ForgetOutstanding();

  /// Imports that no rule and no reason covers.
  const std::vector<std::string>& Unclassified() const;
  /// Imports that can fail and that no fault has struck since the start.
  std::vector<std::string> NeverStruck(Domain domain) const;
};

/// Tells the fault that is armed and the functions that failed for it.
std::string DescribeFault();

// For the forwarders.
const FailingAnswer* BeginCall(const ImportRule& rule);
void EndCall(const ImportRule& rule, const std::intptr_t* arguments, std::intptr_t result, bool failed);

/// The rules of all imports that can fail or that the books need.
std::span<const ImportRule> ImportRules();
/// Why an import needs no rule; null if it is not known.
const char* WhyItCannotFail(const std::string& import);

/// What the machine answers where no real one can be asked. The forwarders use it.
struct MachineAnswers {
  std::wstring appData;
  int remoteSession = 0;
  bool logIsFull = false;  ///< the log file has reached its limit
  bool dropsLog = false;   ///< what is written to a file goes nowhere
};
MachineAnswers& TheMachine();

}  // namespace KuvTest
