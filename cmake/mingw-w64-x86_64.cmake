# Cross build for Windows x64 with Debian's MinGW-w64 (the POSIX-threads
# variant, for std::thread and std::mutex). Test programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(TAVO_MINGW x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${TAVO_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TAVO_MINGW}-g++-posix)
set(CMAKE_ASM_COMPILER ${TAVO_MINGW}-gcc-posix)
set(CMAKE_RC_COMPILER ${TAVO_MINGW}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${TAVO_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Wine runs the test programs, in a throw-away prefix inside the build folder
# so that nothing is written into the user's home.
find_program(TAVO_WINE64 wine64 PATHS /usr/lib/wine NO_DEFAULT_PATH)
find_program(TAVO_WINE64 wine64)
set(CMAKE_CROSSCOMPILING_EMULATOR
  ${CMAKE_COMMAND} -E env WINEPREFIX=${CMAKE_BINARY_DIR}/wineprefix WINEDEBUG=-all ${TAVO_WINE64})
