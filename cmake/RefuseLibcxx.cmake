# libc++ has no character traits of unsigned char, on which every byte stream here rests.

include(CheckCXXSourceCompiles)

check_cxx_source_compiles("
#include <string>
#if defined(_LIBCPP_VERSION)
#error libc++
#endif
int main() { return 0; }
" VHDX_PARSER_STANDARD_LIBRARY_IS_USABLE)

if(NOT VHDX_PARSER_STANDARD_LIBRARY_IS_USABLE)
  message(FATAL_ERROR
    "vhdx_parser cannot be built with libc++: it has no std::char_traits<unsigned char>. "
    "Use libstdc++ (the default of GCC and Clang on Debian) or the MSVC standard library.")
endif()
