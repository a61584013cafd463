option(KUV_COVERAGE "Measure which lines and branches of the DLL run (GCC)" OFF)
option(KUV_SANITIZE "End a program at its first undefined behavior (GCC)" OFF)
option(KUV_SPECTRE "Mitigate Spectre variant 1; needs the libraries of that component (Visual C++)" OFF)

# kuv_options: the options that every target of this project is compiled and linked with.
add_library(kuv_options INTERFACE)
target_compile_features(kuv_options INTERFACE cxx_std_20)
target_compile_definitions(kuv_options INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX STRICT _WIN32_WINNT=0x0601)
target_include_directories(kuv_options INTERFACE ${PROJECT_SOURCE_DIR}/Src)

if(MSVC)
  file(TO_NATIVE_PATH "${PROJECT_SOURCE_DIR}/" source_dir)
  target_compile_options(kuv_options INTERFACE
    /W4 /WX /permissive- /utf-8 /Zc:preprocessor /Zc:__cplusplus /MP /sdl /guard:cf $<$<BOOL:${KUV_SPECTRE}>:/Qspectre>
    # As below: no path of the build machine, and reproducible output.
    /Brepro /d1trimfile:${source_dir})
  target_link_options(kuv_options INTERFACE /guard:cf /DYNAMICBASE /NXCOMPAT /Brepro)
  # ARM64 has no shadow stacks of this kind, and the linker refuses the option.
  if(NOT CMAKE_CXX_COMPILER_ARCHITECTURE_ID MATCHES "^ARM")
    target_link_options(kuv_options INTERFACE /CETCOMPAT)
  endif()
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_link_options(kuv_options INTERFACE /HIGHENTROPYVA)
  endif()
else()
  target_compile_options(kuv_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    -fstack-protector-strong
    # The linker keeps one copy of an inline function, which another object may have compiled with other options, such as
    # those of the tests or of a program that uses the library. On this platform a caller would still rely on the registers
    # that its own copy preserves.
    -fno-ipa-ra
    # Keeps paths of the build machine out of the binaries, so that the same sources make the same bytes.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}/=)
  target_compile_definitions(kuv_options INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
  target_link_options(kuv_options INTERFACE
    -static -fstack-protector-strong -Wl,--dynamicbase,--nxcompat,--no-insert-timestamp)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_link_options(kuv_options INTERFACE -Wl,--high-entropy-va)
  endif()
  if(KUV_COVERAGE)
    # Several threads count at the same time. Optimized code would merge branches of the source.
    target_compile_definitions(kuv_options INTERFACE KUV_COVERAGE)
    target_compile_options(kuv_options INTERFACE --coverage -fprofile-update=atomic -O0)
    target_link_options(kuv_options INTERFACE --coverage)
  endif()
  if(KUV_SANITIZE)
    # The runtime that reports errors does not exist for this platform, so a failing check executes an illegal instruction.
    target_compile_options(kuv_options INTERFACE
      -fsanitize=undefined -fno-sanitize=vptr -fsanitize-undefined-trap-on-error)
  endif()
endif()

include(${CMAKE_CURRENT_LIST_DIR}/KuvManifest.cmake)
