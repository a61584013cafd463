#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "Anomaly/Faults.h"

namespace KuvTest {

/// The name of a function as a template argument.
template <std::size_t Size>
struct ImportName {
  consteval ImportName(const char (&name)[Size]) { std::copy_n(name, Size, text); }
  char text[Size];
};

template <typename Value>
std::intptr_t ToRaw(const Value& value) {
  if constexpr (std::is_pointer_v<Value>) {
    return reinterpret_cast<std::intptr_t>(value);
  } else if constexpr (std::is_integral_v<Value> || std::is_enum_v<Value>) {
    return static_cast<std::intptr_t>(value);
  } else {
    return reinterpret_cast<std::intptr_t>(&value);  // an object passed by reference
  }
}

template <typename Value>
Value FromRaw(std::intptr_t raw) {
  if constexpr (std::is_pointer_v<Value>) {
    return reinterpret_cast<Value>(raw);
  } else {
    return static_cast<Value>(raw);
  }
}

/// The replacement of one function in an import table: fails the call if a fault strikes it, else forwards
/// it. The name distinguishes functions of the same type.
template <ImportName Name, typename Function, typename Result, typename... Arguments>
struct Forwarding {
  static Result Pass(Arguments... arguments) {
    const std::intptr_t raw[] = {ToRaw<std::remove_cvref_t<Arguments>>(arguments)..., 0};
    const FailingAnswer* const failing = BeginCall(*rule);
    if constexpr (std::is_void_v<Result>) {
      (replacement != nullptr ? replacement : function)(arguments...);
      EndCall(*rule, raw, 0, false);
    } else if (failing != nullptr) {
      if (rule->worksAllTheSame) function(arguments...);
      EndCall(*rule, raw, failing->result, true);
      ::SetLastError(failing->lastError);
      return FromRaw<Result>(failing->result);
    } else {
      const Result result = (replacement != nullptr ? replacement : function)(arguments...);
      EndCall(*rule, raw, ToRaw(result), false);
      return result;
    }
  }

  static inline const ImportRule* rule = nullptr;
  static inline Function function = nullptr;
  static inline Function replacement = nullptr;
};

/// The replacement itself, in the calling convention of the function.
template <ImportName Name, typename Function>
struct Forwarder;

template <ImportName Name, typename Result, typename... Arguments>
struct Forwarder<Name, Result(WINAPI*)(Arguments...)>
    : Forwarding<Name, Result(WINAPI*)(Arguments...), Result, Arguments...> {
  static Result WINAPI Call(Arguments... arguments) { return Forwarder::Pass(arguments...); }
};

// On 64 bits there is one convention.
#if !defined(_WIN64)
template <ImportName Name, typename Result, typename... Arguments>
struct Forwarder<Name, Result(__cdecl*)(Arguments...)>
    : Forwarding<Name, Result(__cdecl*)(Arguments...), Result, Arguments...> {
  static Result __cdecl Call(Arguments... arguments) { return Forwarder::Pass(arguments...); }
};
#endif

/// Returns the plain rule of a function. `answer`, if any, replaces the real function.
template <ImportName Name, typename Function>
ImportRule RuleOf(Function, std::type_identity_t<Function> answer = nullptr) {
  using Its = Forwarder<Name, Function>;
  Its::replacement = answer;
  return {Name.text, reinterpret_cast<void*>(&Its::Call), reinterpret_cast<void**>(&Its::function),
          &Its::rule};
}

}  // namespace KuvTest
