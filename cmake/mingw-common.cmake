# What the two MinGW-w64 toolchain files share. The caller has set
# KUV_ARCHITECTURE (x64 or x86) and KUV_MINGW_TRIPLE.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)

set(CMAKE_C_COMPILER ${KUV_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KUV_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KUV_MINGW_TRIPLE}-windres)
# Links the DLL: the win32 flavour of the runtime brings no thread library, hence
# no vectored exception handler and no thread notification, into the logon process.
set(KUV_DLL_LINKER ${KUV_MINGW_TRIPLE}-g++-win32)

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
