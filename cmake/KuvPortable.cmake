# The sources of KuvAuth that need no platform header. They also compile for the host: for fuzzing, static analysis and
# benchmarks there.
get_filename_component(kuv_root ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)
set(KUV_PORTABLE_SOURCES Configuration/HostAndPort)
foreach(unit IN ITEMS AuthorizationSignature Base64Core Encoders ParameterString ServiceVocabulary)
  list(APPEND KUV_PORTABLE_SOURCES ServiceClient/${unit})
endforeach()
foreach(unit IN ITEMS BasicAuthorization ConstantTime Credentials Failure FieldRules HttpDate MaskedForLog Request Secret
    SignatureEngine Signer Verify)
  list(APPEND KUV_PORTABLE_SOURCES Signing/${unit})
endforeach()
list(TRANSFORM KUV_PORTABLE_SOURCES PREPEND ${kuv_root}/Src/KuvAuth/)
list(TRANSFORM KUV_PORTABLE_SOURCES APPEND .cpp)

# kuv_add_portable_library(): the target KuvPortable, in a project for the host. It links these sources with a stub of
# the platform.
function(kuv_add_portable_library)
  add_library(KuvPortable STATIC ${KUV_PORTABLE_SOURCES} ${kuv_root}/Tests/Fuzz/PlatformStub.cpp)
  target_include_directories(KuvPortable PUBLIC ${kuv_root}/Src ${kuv_root}/Tests/Fuzz)
endfunction()
