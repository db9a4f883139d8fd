# Lets a build for Windows on Debian use the header-only packages and the GoogleTest source that are
# installed for Linux, while the Linux system headers stay out.

# The headers of those packages alone, under a root that the compiler may search.
set(header_root "${PROJECT_BINARY_DIR}/debian")
foreach(headers boost fmt nlohmann CLI)
  if(EXISTS "/usr/include/${headers}")
    file(MAKE_DIRECTORY "${header_root}/include")
    file(CREATE_LINK "/usr/include/${headers}" "${header_root}/include/${headers}" SYMBOLIC)
  endif()
endforeach()
list(APPEND CMAKE_FIND_ROOT_PATH "${header_root}")

# find_package(<package>) gives the targets, which bring these headers and nothing else.
function(vhdx_parser_header_package package headers)
  if(EXISTS "${header_root}/include/${headers}")
    set(config "${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${package}Config.cmake")
    file(WRITE "${config}" "")
    foreach(target IN LISTS ARGN)
      file(APPEND "${config}"
        "if(NOT TARGET ${target})\n"
        "  add_library(${target} INTERFACE IMPORTED)\n"
        "  target_include_directories(${target} SYSTEM INTERFACE \"${header_root}/include\")\n"
        "endif()\n")
    endforeach()
  endif()
endfunction()

vhdx_parser_header_package(CLI11 CLI CLI11::CLI11)
vhdx_parser_header_package(nlohmann_json nlohmann nlohmann_json::nlohmann_json)
vhdx_parser_header_package(fmt fmt fmt::fmt fmt::fmt-header-only)
file(APPEND "${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/fmtConfig.cmake"
  "set_property(TARGET fmt::fmt fmt::fmt-header-only\n"
  "  PROPERTY INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY)\n")

if(EXISTS /usr/src/googletest/CMakeLists.txt)
  file(WRITE "${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/GTestConfig.cmake"
    "if(NOT TARGET GTest::gtest)\n"
    "  set(INSTALL_GTEST OFF)\n"
    "  add_subdirectory(/usr/src/googletest \"${PROJECT_BINARY_DIR}/googletest\" EXCLUDE_FROM_ALL)\n"
    "endif()\n")
endif()

# A program finds a DLL that lies beside it.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
