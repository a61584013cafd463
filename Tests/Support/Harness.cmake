# The harness without GoogleTest, for the tests and the benchmarks.
include_guard(GLOBAL)
add_library(KuvTestHarness STATIC
  ${CMAKE_CURRENT_LIST_DIR}/DecisionModel.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FilterModule.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImportTable.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Providers.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RegistrySandbox.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TempFolder.cpp)
target_include_directories(KuvTestHarness PUBLIC ${PROJECT_SOURCE_DIR}/Tests)
target_link_libraries(KuvTestHarness PUBLIC KuvAuth advapi32 ole32 shell32)
