# Builds for 64-bit Windows with Debian's MinGW-w64 and runs what was built under Wine.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# The flavour whose standard library has threads.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's runtime goes into every DLL and program, so that none needs another file beside it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Wine keeps its folder in the build tree, shows no window and says nothing of its own. Names of files
# are UTF-8 for it, whatever the locale is.
set(CMAKE_CROSSCOMPILING_EMULATOR
  env -u DISPLAY -u WAYLAND_DISPLAY LC_ALL=C.UTF-8
  "WINEPREFIX=${CMAKE_BINARY_DIR}/wine" WINEDEBUG=-all "WINEDLLOVERRIDES=mscoree,mshtml="
  wine)
