#include "FilterCheck/Machine/Architecture.h"

#include "Common/SystemFunction.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

WORD NativeMachine() noexcept {
  using IsWow64 = BOOL(WINAPI*)(HANDLE, USHORT*, USHORT*);
  const auto isWow64 = Tools::SystemFunction<IsWow64>(L"kernel32.dll", "IsWow64Process2");
  USHORT process = 0;
  USHORT native = 0;
  if (isWow64 != nullptr && isWow64(::GetCurrentProcess(), &process, &native) != FALSE) return native;
  // Versions without the function do not run on ARM64.
  SYSTEM_INFO system{};
  ::GetNativeSystemInfo(&system);
  return system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_INTEL ? IMAGE_FILE_MACHINE_I386
                                                                       : IMAGE_FILE_MACHINE_AMD64;
}

std::string ArchitectureName(WORD machine) {
  switch (machine) {
    case IMAGE_FILE_MACHINE_AMD64:
      return "x64";
    case IMAGE_FILE_MACHINE_ARM64:
      return "ARM64";
    case IMAGE_FILE_MACHINE_I386:
      return "x86";
    default:
      return FormatToString("0x%04X", unsigned{machine});
  }
}

}  // namespace FilterCheck
