# The flags of each configuration. CMake reads this file after its own defaults and before it uses them
# (CMAKE_USER_MAKE_RULES_OVERRIDE_CXX). Set in the toolchain file itself, the values would be followed by "-O3".
set(CMAKE_CXX_FLAGS_RELEASE_INIT "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_DEBUG_INIT "-Og -g")
