# Cross-compiling for 64-bit Windows with MinGW-w64 (the posix thread
# model, for std::thread). Programs are linked statically: they need no
# DLL beside them but the system's.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(ZELMAR_MINGW x86_64-w64-mingw32)

set(CMAKE_C_COMPILER   ${ZELMAR_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZELMAR_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER  ${ZELMAR_MINGW}-windres)

# Third-party libraries built for Windows are found in the prefixes given
# in CMAKE_PREFIX_PATH, never on the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${ZELMAR_MINGW} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Test programs run under Wine.
find_program(ZELMAR_WINE NAMES wine64 wine)
if(ZELMAR_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZELMAR_WINE})
endif()
