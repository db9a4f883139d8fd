# How the shared libraries are linked and what they show.

# vhdx_parser_shared_library(<target>)
function(vhdx_parser_shared_library target)
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "")
  elseif(NOT MSVC)
    # Calls inside the library go straight to the library's own functions.
    # Clang's sanitizers leave their own names to the program.
    if(NOT VHDX_PARSER_SANITIZE)
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
    set(private_names "${PROJECT_SOURCE_DIR}/cmake/private_names.map")
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions
      "-Wl,--version-script=${private_names}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${private_names}")
  endif()
endfunction()
