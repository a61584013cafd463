set(KUV_ARCHITECTURE x64)
set(KUV_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)

# The build runs its programs under Wine, in a prefix inside the build tree.
get_filename_component(KUV_WINE "${CMAKE_CURRENT_LIST_DIR}/../Scripts/wine.sh" ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${KUV_WINE} ${CMAKE_BINARY_DIR}/wine)
