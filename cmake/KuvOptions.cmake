option(KUV_COVERAGE "Count which lines and branches of what ships are run (GCC)" OFF)
option(KUV_SANITIZE "End a program at its first undefined behaviour (GCC)" OFF)

# kuv_options: what every target of this project is compiled and linked with.
add_library(kuv_options INTERFACE)
target_compile_features(kuv_options INTERFACE cxx_std_20)
target_compile_definitions(kuv_options INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX STRICT _WIN32_WINNT=0x0601)
target_include_directories(kuv_options INTERFACE ${PROJECT_SOURCE_DIR}/Src)

if(MSVC)
  file(TO_NATIVE_PATH "${PROJECT_SOURCE_DIR}/" source_dir)
  target_compile_options(kuv_options INTERFACE
    /W4 /WX /permissive- /utf-8 /Zc:preprocessor /Zc:__cplusplus /MP /sdl /guard:cf /Qspectre
    # As below: no path of the build machine, the same bytes.
    /Brepro /d1trimfile:${source_dir})
  target_link_options(kuv_options INTERFACE /guard:cf /CETCOMPAT /DYNAMICBASE /NXCOMPAT /Brepro)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_link_options(kuv_options INTERFACE /HIGHENTROPYVA)
  endif()
else()
  target_compile_options(kuv_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    -fstack-protector-strong
    # No path of the build machine reaches a binary, and the same sources give the same bytes.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}/=)
  target_compile_definitions(kuv_options INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
  target_link_options(kuv_options INTERFACE
    -static -fstack-protector-strong -Wl,--dynamicbase,--nxcompat,--no-insert-timestamp)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_link_options(kuv_options INTERFACE -Wl,--high-entropy-va)
  endif()
  if(KUV_COVERAGE)
    # Several threads count at once. Optimized code would merge the branches of the source.
    target_compile_options(kuv_options INTERFACE --coverage -fprofile-update=atomic -O0)
    target_link_options(kuv_options INTERFACE --coverage)
  endif()
  if(KUV_SANITIZE)
    # There is no runtime to report for this platform, so a check that fails stops at an illegal instruction.
    target_compile_options(kuv_options INTERFACE
      -fsanitize=undefined -fno-sanitize=vptr -fsanitize-undefined-trap-on-error)
  endif()
endif()

# kuv_add_manifest(TARGET): tells the platform that the program knows its current
# version, as the logon process does; without it every version reads as 6.2.
function(kuv_add_manifest target)
  if(MSVC)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/Compatibility.manifest)
  else()
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/Compatibility.rc)
  endif()
endfunction()
