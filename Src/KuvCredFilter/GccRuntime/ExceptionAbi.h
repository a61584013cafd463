#pragma once

#include <cstddef>
#include <exception>
#include <typeinfo>

#include <cxxabi.h>
#include <unwind.h>

namespace __cxxabiv1 {

/// The exceptions of a thread. The fields are fixed by the ABI.
struct __cxa_eh_globals {
  void* caughtExceptions;
  unsigned int uncaughtExceptions;
};

}  // namespace __cxxabiv1

namespace Kuv::GccRuntime {

/// The record that the runtime keeps before an exception object: `__cxa_refcounted_exception` of libstdc++,
/// which no header declares. Used for its size only.
struct ExceptionRecord {
  int referenceCount;
  struct {
    const std::type_info* type;
    void (*destructor)(void*);
    void (*unexpectedHandler)();
    std::terminate_handler terminateHandler;
    void* nextException;
    int handlerCount;
    int handlerSwitchValue;
    const unsigned char* actionRecord;
    const unsigned char* languageSpecificData;
    _Unwind_Ptr catchTemporary;
    void* adjustedObject;
    _Unwind_Exception unwindHeader;
  } exception;
};

/// The space reserved for that record.
inline constexpr std::size_t kRecordSize = 256;

// Both types are copies. _Unwind_Exception and the type of pointers come from headers; ExceptionAbiTests.cpp
// compares the rest with libstdc++.
static_assert(sizeof(__cxxabiv1::__cxa_eh_globals) == 2 * sizeof(void*) &&
                  offsetof(__cxxabiv1::__cxa_eh_globals, uncaughtExceptions) == sizeof(void*),
              "compare __cxa_eh_globals in unwind-cxx.h of libsupc++");
static_assert(sizeof(ExceptionRecord) == (sizeof(void*) == 8 ? 160 : 96),
              "compare __cxa_refcounted_exception in unwind-cxx.h of libsupc++ and _Unwind_Exception");
static_assert(kRecordSize >= sizeof(ExceptionRecord) && kRecordSize % alignof(std::max_align_t) == 0 &&
                  kRecordSize % alignof(ExceptionRecord) == 0,
              "the record of an exception does not fit into the reserved space");

}  // namespace Kuv::GccRuntime
