# The shared part of the two MinGW-w64 toolchain files, which set KUV_ARCHITECTURE (x64 or x86) and KUV_MINGW_TRIPLE.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)

# Debian packages the compiler in two flavors, which differ in the thread model of the C++ runtime. Neither serves alone:
# - posix compiles everything. GoogleTest and the tests use std::mutex and std::thread, which GCC 12 does not have in the
#   win32 flavor. The DLL compiled with win32 is not the same file either: std::shared_ptr compiles to other code.
# - win32 links the DLL. Its runtime adds no thread library to the logon process, and so no vectored exception handler
#   and no thread notification.
set(CMAKE_C_COMPILER ${KUV_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KUV_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KUV_MINGW_TRIPLE}-windres)
set(KUV_DLL_LINKER ${KUV_MINGW_TRIPLE}-g++-win32)
set(CMAKE_USER_MAKE_RULES_OVERRIDE_CXX ${CMAKE_CURRENT_LIST_DIR}/mingw-flags.cmake)

# The DLL combines objects of one flavor with the runtime of the other, so both must be the same version of GCC.
get_property(in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT in_try_compile)
  set(versions "")
  # The compilers report "12-posix" and "12-win32".
  foreach(compiler IN ITEMS ${CMAKE_CXX_COMPILER} ${KUV_DLL_LINKER})
    execute_process(COMMAND ${compiler} -dumpfullversion
      OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failure)
    if(failure)
      message(FATAL_ERROR "${compiler} does not run (${failure}); Scripts/setup.sh installs it")
    endif()
    string(REGEX REPLACE "-(posix|win32)$" "" version ${version})
    list(APPEND versions ${version})
  endforeach()
  list(REMOVE_DUPLICATES versions)
  list(LENGTH versions count)
  if(NOT count EQUAL 1)
    list(JOIN versions " and " versions)
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} and ${KUV_DLL_LINKER} have different versions: ${versions}")
  endif()
endif()

if(DEFINED ENV{KUV_DEPS_DIR})
  set(KUV_DEPS_DIR $ENV{KUV_DEPS_DIR})
else()
  get_filename_component(KUV_DEPS_DIR "${CMAKE_CURRENT_LIST_DIR}/../build/deps" ABSOLUTE)
endif()
set(CMAKE_FIND_ROOT_PATH /usr/${KUV_MINGW_TRIPLE} ${KUV_DEPS_DIR}/${KUV_ARCHITECTURE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The build runs its programs under Wine, in a prefix inside the build tree.
get_filename_component(KUV_WINE "${CMAKE_CURRENT_LIST_DIR}/../Scripts/wine.sh" ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${KUV_WINE} ${CMAKE_BINARY_DIR}/wine)
