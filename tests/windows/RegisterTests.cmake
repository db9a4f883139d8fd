# How test programs are registered in a build for Windows. A process takes long to start under Wine,
# so a program is one CTest test; its report, results/<name>.xml, tells the single tests.

set(VHDX_PARSER_LEFT_OUT_RULES "${CMAKE_CURRENT_LIST_DIR}/left-out-files.txt")
set(VHDX_PARSER_LEFT_OUT_LIST "${PROJECT_BINARY_DIR}/left-out-files.txt")
file(WRITE "${VHDX_PARSER_LEFT_OUT_LIST}" "")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${VHDX_PARSER_LEFT_OUT_RULES}")

# The text of a source file and of the headers of the tests that it includes.
function(vhdx_parser_read_with_headers result path)
  file(READ "${path}" text)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${path}")
  string(REGEX MATCHALL "#include \"tests/[^\"]+\"" includes "${text}")
  foreach(include IN LISTS includes)
    string(REGEX REPLACE "#include \"(.*)\"" "\\1" header "${include}")
    vhdx_parser_read_with_headers(header_text "${PROJECT_SOURCE_DIR}/${header}")
    string(APPEND text "${header_text}")
  endforeach()
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

# Why a test file is not built for Windows; empty when it is, as every file that leaves out by itself
# what cannot be built.
function(vhdx_parser_reason_to_leave_out result path)
  vhdx_parser_read_with_headers(text "${path}")
  set(${result} "" PARENT_SCOPE)
  if(text MATCHES "#if (!defined\\(_WIN32\\)|__has_include\\(<rapidcheck)")
    return()
  endif()
  file(STRINGS "${VHDX_PARSER_LEFT_OUT_RULES}" rules REGEX "^[^#]")
  foreach(rule IN LISTS rules)
    string(REGEX MATCH "^(.*)\\|(.*)$" matched "${rule}")
    string(FIND "${text}" "${CMAKE_MATCH_1}" position)
    if(NOT position EQUAL -1)
      set(${result} "${CMAKE_MATCH_2}" PARENT_SCOPE)
      return()
    endif()
  endforeach()
endfunction()

# Takes out of the program what cannot be built, and registers the rest.
function(vhdx_parser_register_windows_tests name)
  get_target_property(sources ${name} SOURCES)
  get_target_property(folder ${name} SOURCE_DIR)
  set(kept)
  foreach(source IN LISTS sources)
    get_filename_component(path "${source}" ABSOLUTE BASE_DIR "${folder}")
    vhdx_parser_reason_to_leave_out(reason "${path}")
    if(reason)
      file(APPEND "${VHDX_PARSER_LEFT_OUT_LIST}" "${path}|${reason}\n")
    else()
      list(APPEND kept "${source}")
    endif()
  endforeach()
  if(NOT kept)
    set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  set_target_properties(${name} PROPERTIES SOURCES "${kept}")
  # The path is relative, because Wine has its own names for absolute ones.
  add_test(NAME ${name} COMMAND ${name} --gtest_output=xml:results/${name}.xml
    WORKING_DIRECTORY "${PROJECT_BINARY_DIR}")
  # The largest begins first, since it takes longest.
  list(LENGTH kept size)
  set_tests_properties(${name} PROPERTIES LABELS ${name} TIMEOUT 1500 COST ${size})
endfunction()
