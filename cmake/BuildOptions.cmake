# The compiler options that every target of ours is built with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(VHDX_PARSER_SANITIZE "" CACHE STRING "Sanitizers for the whole build, as -fsanitize= takes them")
option(VHDX_PARSER_COVERAGE "Count which lines run" OFF)

add_library(vhdx_parser_build_options INTERFACE)

if(MSVC)
  target_compile_options(vhdx_parser_build_options INTERFACE /W4 /permissive- /utf-8)
  # Without the first, the header of Windows makes macros of std::min and std::max.
  target_compile_definitions(vhdx_parser_build_options INTERFACE NOMINMAX _CRT_SECURE_NO_WARNINGS)
  if(VHDX_PARSER_WARNINGS_AS_ERRORS)
    target_compile_options(vhdx_parser_build_options INTERFACE /WX)
  endif()
else()
  target_compile_options(vhdx_parser_build_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
  if(VHDX_PARSER_WARNINGS_AS_ERRORS)
    target_compile_options(vhdx_parser_build_options INTERFACE -Werror)
  endif()
  # Checks of the standard library's own preconditions wherever speed is not what is built for.
  if(VHDX_PARSER_SANITIZE)
    target_compile_definitions(vhdx_parser_build_options INTERFACE _GLIBCXX_ASSERTIONS)
  else()
    target_compile_definitions(vhdx_parser_build_options INTERFACE
      $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
  endif()
endif()

# As every other compiler does from C++14 on. Without it a program that replaces these operators hides
# the sized ones from the libraries that it loads.
if(CMAKE_CXX_COMPILER_ID MATCHES Clang AND NOT MSVC)
  add_compile_options(-fsized-deallocation)
endif()

if(VHDX_PARSER_SANITIZE)
  # Of the debug information the lines alone, which are what a report names: the rest doubles the build.
  add_compile_options(-fsanitize=${VHDX_PARSER_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${VHDX_PARSER_SANITIZE})
  # What the program of somebody else loads needs the sanitizer as a library, which Clang links only on
  # demand. Its fuzzers need it as it is.
  if(VHDX_PARSER_SANITIZE MATCHES address AND NOT VHDX_PARSER_BUILD_FUZZ)
    set(sanitizer_library libasan.so)
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
      set(sanitizer_library libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so)
    endif()
    execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=${sanitizer_library}
      OUTPUT_VARIABLE VHDX_PARSER_SANITIZER_LIBRARY OUTPUT_STRIP_TRAILING_WHITESPACE
      COMMAND_ERROR_IS_FATAL ANY)
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
      get_filename_component(sanitizer_folder "${VHDX_PARSER_SANITIZER_LIBRARY}" DIRECTORY)
      add_link_options(-shared-libasan "-Wl,-rpath,${sanitizer_folder}")
    endif()
  endif()
endif()
if(VHDX_PARSER_COVERAGE)
  add_compile_options(--coverage -O0 -g)
  add_link_options(--coverage)
endif()
