# Headers that nearly every source of a target includes are compiled once for the target, where that
# makes its build shorter. A source includes all that it uses all the same: the clang preset compiles
# without, and so does what reads the code with it.

set(VHDX_PARSER_STANDARD_HEADERS
  <algorithm> <array> <cstdint> <filesystem> <fstream> <functional> <map> <memory> <optional> <set>
  <span> <string> <string_view> <system_error> <utility> <vector>)

# So that a compiler cache can take its results for those of the same headers compiled elsewhere.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options(-fpch-preprocess)
elseif(CMAKE_CXX_COMPILER_ID MATCHES Clang AND NOT MSVC)
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
endif()

# vhdx_parser_precompile(<target> [<header>...]): those of the standard library, and these.
function(vhdx_parser_precompile target)
  target_precompile_headers(${target} PRIVATE ${VHDX_PARSER_STANDARD_HEADERS} ${ARGN})
endfunction()
