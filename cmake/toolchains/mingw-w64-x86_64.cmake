# Cross-build for 64-bit Windows with Debian's MinGW-w64 compilers, and run what was built
# under Wine. The posix thread-model compilers are used: with GCC 12 the win32 model has no
# std::mutex or std::thread. Dependencies cross-built for Windows (JsonCpp, GoogleTest) are
# found under QUIL_WINDOWS_DEPS_PREFIX (scripts/test-windows.sh builds them there).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(QUIL_MINGW_TRIPLET x86_64-w64-mingw32)
find_program(CMAKE_C_COMPILER NAMES ${QUIL_MINGW_TRIPLET}-gcc-posix REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${QUIL_MINGW_TRIPLET}-g++-posix REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${QUIL_MINGW_TRIPLET}-windres)

# Link the MinGW runtime (libgcc, libstdc++, winpthread) into every executable and DLL, so that
# nothing needs libstdc++-6.dll and friends at run time: a missing runtime DLL makes a test exit
# silently with code 53 under Wine.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

set(QUIL_WINDOWS_DEPS_PREFIX "$ENV{QUIL_WINDOWS_DEPS_PREFIX}" CACHE PATH
    "Install prefix of the dependencies cross-built for Windows")
set(CMAKE_FIND_ROOT_PATH /usr/${QUIL_MINGW_TRIPLET})
if(QUIL_WINDOWS_DEPS_PREFIX)
  list(APPEND CMAKE_FIND_ROOT_PATH ${QUIL_WINDOWS_DEPS_PREFIX})
  list(APPEND CMAKE_PREFIX_PATH ${QUIL_WINDOWS_DEPS_PREFIX})
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Wine runs the test executables, for gtest_discover_tests as for ctest. The 64-bit loader is
# called directly: Debian's "wine" wrapper prefers a 32-bit Wine that is not installed. The
# prefix lives in the build folder, and Wine's debug channels stay quiet.
find_program(QUIL_WINE NAMES wine64 PATHS /usr/lib/wine NO_DEFAULT_PATH)
if(NOT QUIL_WINE)
  find_program(QUIL_WINE NAMES wine64 wine)
endif()
if(QUIL_WINE)
  set(QUIL_WINEPREFIX "$ENV{WINEPREFIX}" CACHE PATH "The Wine prefix the tests run in")
  if(NOT QUIL_WINEPREFIX)
    set(QUIL_WINEPREFIX "${CMAKE_BINARY_DIR}/wineprefix" CACHE PATH "The Wine prefix the tests run in" FORCE)
  endif()
  set(CMAKE_CROSSCOMPILING_EMULATOR
      env WINEDEBUG=-all WINEPREFIX=${QUIL_WINEPREFIX} WINEDLLOVERRIDES=mscoree,mshtml=
          ${QUIL_WINE})
endif()
