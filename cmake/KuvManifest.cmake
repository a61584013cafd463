# kuv_add_manifest(TARGET): declares the program compatible with current versions of Windows, like the logon process.
# Without the manifest, Windows reports version 6.2 to the program. The package of KuvAuth has this file too.
function(kuv_add_manifest target)
  if(MSVC)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/Compatibility.manifest)
  else()
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/Compatibility.rc)
  endif()
endfunction()
