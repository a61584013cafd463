#include "Anomaly/Faults.h"

#include <winternl.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "Support/ImportTable.h"
#include "Support/Providers.h"

namespace KuvTest {

namespace {

struct State {
  bool watches = true;
  Fault fault;
  bool armed = false;
  std::size_t calls[2] = {};
  bool struck = false;                       // since the last answers were taken
  std::vector<std::string> struckFunctions;  // since the fault was armed
  std::set<std::string> everStruck;
  std::vector<Answer> answers;
  std::map<std::pair<Resource, std::intptr_t>, int> out;
  std::vector<std::string> foreign;
  std::vector<std::string> unclassified;
  // Offsets of the entries in the module, found once.
  std::vector<std::pair<std::size_t, const ImportRule*>> entries;
  void* registration = nullptr;
};

State* g_state = nullptr;

const char* NameOf(Resource resource) {
  constexpr const char* kNames[] = {"None",      "RegistryKey",     "Handle", "Sid",   "LocalMemory",
                                    "HeapBlock", "CriticalSection", "Lock",   "Module"};
  return kNames[static_cast<int>(resource)];
}

const ImportRule* FindRule(const std::string& name) {
  const auto rules = ImportRules();
  const auto found =
      std::find_if(rules.begin(), rules.end(), [&](const ImportRule& rule) { return name == rule.name; });
  return found == rules.end() ? nullptr : &*found;
}

void FindEntries(HMODULE module) {
  for (const std::string& import : ListImports(module)) {
    const std::string name = import.substr(import.find('!') + 1);
    const ImportRule* const rule = FindRule(name);
    if (rule == nullptr) {
      if (WhyItCannotFail(name) == nullptr) g_state->unclassified.push_back(import);
      continue;
    }
    for (void** const entry : FindImports(module, name)) {
      *rule->original = *entry;
      g_state->entries.emplace_back(
          reinterpret_cast<std::size_t>(entry) - reinterpret_cast<std::size_t>(module), rule);
    }
  }
}

void Intercept(HMODULE module) {
  if (g_state->entries.empty()) FindEntries(module);
  for (const auto& [offset, rule] : g_state->entries) {
    WriteImport(reinterpret_cast<void**>(reinterpret_cast<std::size_t>(module) + offset), rule->forwarder);
  }
}

// The notification that the loader sends once a module is mapped and bound, before its code runs.
struct LoadedModule {
  ULONG flags;
  const UNICODE_STRING* path;
  const UNICODE_STRING* name;
  void* base;
  ULONG size;
};
using Notify = void(CALLBACK*)(ULONG reason, const LoadedModule* module, void* context);
constexpr ULONG kLoaded = 1;

void CALLBACK OnModule(ULONG reason, const LoadedModule* module, void*) {
  constexpr std::wstring_view kOurs = L"KuvCredFilter.dll";
  const std::wstring_view name{module->name->Buffer, module->name->Length / sizeof(wchar_t)};
  if (reason == kLoaded && name == kOurs) Intercept(static_cast<HMODULE>(module->base));
}

template <typename Function>
Function LoaderFunction(const char* name) {
  const auto function =
      reinterpret_cast<void (*)()>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), name));
  if (function == nullptr) throw std::runtime_error{std::string{"missing export: "} + name};
  return reinterpret_cast<Function>(function);
}

std::string Ascii(const wchar_t* text) {
  std::string ascii;
  for (; *text != L'\0'; ++text) ascii += static_cast<char>(*text);
  return ascii;
}

template <typename Type>
const Type* At(std::intptr_t address) {
  return reinterpret_cast<const Type*>(address);
}

void CopyData(Answer& answer, std::intptr_t from, std::size_t size) {
  const auto* const bytes = At<std::uint8_t>(from);
  answer.data.assign(bytes, bytes + size);
}

// After a failure a buffer may hold anything, even the identifier of a provider that is not allowed.
void Scribble(const ImportRule& rule, const std::intptr_t* arguments, std::intptr_t result) {
  const std::string_view name{rule.name};
  if (name.starts_with("RegQueryValueEx")) {
    DWORD& size = *reinterpret_cast<DWORD*>(arguments[5]);
    std::memset(reinterpret_cast<void*>(arguments[4]), 0x5A, size);
    if (result == ERROR_MORE_DATA) {
      // This status also returns the stored type and the required size.
      const auto key = reinterpret_cast<HKEY>(arguments[0]);
      auto* const type = reinterpret_cast<DWORD*>(arguments[3]);
      if (name.ends_with('A')) {
        ::RegQueryValueExA(key, At<char>(arguments[1]), nullptr, type, nullptr, nullptr);
      } else {
        ::RegQueryValueExW(key, At<wchar_t>(arguments[1]), nullptr, type, nullptr, nullptr);
      }
      size = 2 * size + 2;
    }
  } else if (name == "CLSIDFromString") {
    std::memcpy(reinterpret_cast<void*>(arguments[1]), &kPasswordProvider, sizeof(GUID));
  } else if (name == "ProcessIdToSessionId") {
    std::memset(reinterpret_cast<void*>(arguments[1]), 0x5A, sizeof(DWORD));
  }
}

void Record(const ImportRule& rule, const std::intptr_t* arguments, std::intptr_t result, bool failed) {
  Answer answer{rule.name, {}, result, 0, {}};
  const std::string& name = answer.function;
  if (name.starts_with("Reg")) {
    answer.subject = name.ends_with('A') ? At<char>(arguments[1]) : Ascii(At<wchar_t>(arguments[1]));
  }
  if (!failed && name.starts_with("RegQueryValueEx") && result == ERROR_SUCCESS) {
    if (arguments[3] != 0) answer.type = *At<DWORD>(arguments[3]);
    CopyData(answer, arguments[4], *At<DWORD>(arguments[5]));
  } else if (!failed && name == "ProcessIdToSessionId") {
    CopyData(answer, arguments[1], sizeof(DWORD));
  } else if (!failed && name == "CLSIDFromString") {
    CopyData(answer, arguments[1], sizeof(GUID));
  }
  g_state->answers.push_back(std::move(answer));
}

bool Succeeded(const ImportRule& rule, std::intptr_t result) {
  if (rule.succeedsWithZero) return result == 0;
  switch (rule.opens) {
    case Resource::CriticalSection:
    case Resource::Lock:
      return true;
    default:
      return result != 0 && result != -1;
  }
}

std::intptr_t Opened(const ImportRule& rule, const std::intptr_t* arguments, std::intptr_t result) {
  if (rule.openedArgument < 0) return result;
  const std::intptr_t argument = arguments[rule.openedArgument];
  const bool itself = rule.opens == Resource::CriticalSection || rule.opens == Resource::Lock;
  return itself ? argument : *At<std::intptr_t>(argument);
}

void TrackResources(const ImportRule& rule, const std::intptr_t* arguments, std::intptr_t result,
                    bool failed) {
  const bool works = !failed || rule.worksAllTheSame;
  const bool opens = works && rule.opens != Resource::None && Succeeded(rule, result);
  const bool closes = works && rule.closes != Resource::None && arguments[0] != 0;
  if (closes && (opens || rule.opens == Resource::None)) {
    const auto found = g_state->out.find({rule.closes, arguments[0]});
    if (found == g_state->out.end()) {
      g_state->foreign.push_back(std::string{"unknown "} + NameOf(rule.closes) + " to " + rule.name);
    } else if (--found->second == 0) {
      g_state->out.erase(found);
    }
  }
  if (opens) ++g_state->out[{rule.opens, Opened(rule, arguments, result)}];
}

}  // namespace

const FailingAnswer* BeginCall(const ImportRule& rule) {
  if (!g_state->watches || !g_state->armed || rule.failures.empty()) return nullptr;
  const std::size_t call = ++g_state->calls[static_cast<int>(rule.domain)];
  const Fault& fault = g_state->fault;
  if (fault.call == 0 || fault.domain != rule.domain) return nullptr;
  if (fault.toTheEnd ? call < fault.call : call != fault.call) return nullptr;
  g_state->struck = true;
  std::vector<std::string>& names = g_state->struckFunctions;
  if (std::find(names.begin(), names.end(), rule.name) == names.end()) names.push_back(rule.name);
  g_state->everStruck.insert(rule.name);
  return &rule.failures[fault.answer % rule.failures.size()];
}

void EndCall(const ImportRule& rule, const std::intptr_t* arguments, std::intptr_t result, bool failed) {
  if (!g_state->watches) return;
  const DWORD lastError = ::GetLastError();
  if (rule.recorded) Record(rule, arguments, result, failed);
  if (failed) Scribble(rule, arguments, result);
  TrackResources(rule, arguments, result, failed);
  ::SetLastError(lastError);
}

std::string DescribeFault() {
  const Fault& fault = g_state->fault;
  std::string text = fault.domain == Domain::Memory ? "allocation " : "call ";
  text += std::to_string(fault.call) + (fault.toTheEnd ? " and all later" : "") + ", answer " +
          std::to_string(fault.answer) + ":";
  for (const std::string& name : g_state->struckFunctions) text += " " + name;
  return text;
}

FaultyImports::FaultyImports(Watch watch) {
  if (g_state != nullptr) throw std::runtime_error{"only one FaultyImports at a time"};
  for (const ImportRule& rule : ImportRules()) *rule.self = &rule;
  g_state = new State;
  g_state->watches = watch == Watch::Everything;
  using Register = NTSTATUS(NTAPI*)(ULONG, Notify, void*, void**);
  const auto subscribe = LoaderFunction<Register>("LdrRegisterDllNotification");
  if (subscribe(0, OnModule, nullptr, &g_state->registration) != 0) {
    throw std::runtime_error{"LdrRegisterDllNotification failed"};
  }
}

FaultyImports::~FaultyImports() {
  using Unregister = NTSTATUS(NTAPI*)(void*);
  LoaderFunction<Unregister>("LdrUnregisterDllNotification")(g_state->registration);
  delete std::exchange(g_state, nullptr);
}

void FaultyImports::Arm(const Fault& fault) {
  g_state->fault = fault;
  g_state->armed = true;
  std::fill(std::begin(g_state->calls), std::end(g_state->calls), 0);
  g_state->struck = false;
  g_state->struckFunctions.clear();
}

void FaultyImports::Disarm() {
  g_state->armed = false;
}

void FaultyImports::Rearm() {
  g_state->armed = true;
}

std::size_t FaultyImports::CallCount(Domain domain) const {
  return g_state->calls[static_cast<int>(domain)];
}

bool FaultyImports::HasStruck() const {
  return g_state->struck;
}

bool FaultyImports::HasStruckSinceArmed() const {
  return !g_state->struckFunctions.empty();
}

std::vector<Answer> FaultyImports::TakeAnswers() {
  g_state->struck = false;
  return std::exchange(g_state->answers, {});
}

std::string FaultyImports::Outstanding() const {
  std::map<Resource, int> counts;
  for (const auto& [resource, count] : g_state->out) counts[resource.first] += count;
  std::string text;
  for (const auto& [resource, count] : counts) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + NameOf(resource);
  }
  for (const std::string& what : g_state->foreign) text += (text.empty() ? "" : ", ") + what;
  return text;
}

void FaultyImports::ForgetOutstanding() {
  g_state->out.clear();
  g_state->foreign.clear();
}

const std::vector<std::string>& FaultyImports::Unclassified() const {
  return g_state->unclassified;
}

std::vector<std::string> FaultyImports::NeverStruck(Domain domain) const {
  std::set<std::string> names;
  for (const auto& [offset, rule] : g_state->entries) {
    if (rule->domain == domain && !rule->failures.empty() && !g_state->everStruck.contains(rule->name)) {
      names.insert(rule->name);
    }
  }
  return {names.begin(), names.end()};
}

MachineAnswers& TheMachine() {
  static MachineAnswers machine;
  return machine;
}

}  // namespace KuvTest
