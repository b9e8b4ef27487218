# The common part of the two MinGW-w64 toolchains; PYLON_MINGW_TRIPLE names the target.

set(CMAKE_SYSTEM_NAME Windows)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "${PYLON_MINGW_TRIPLE}")

# The posix flavour: the win32 one has no std::mutex.
set(CMAKE_C_COMPILER ${PYLON_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${PYLON_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${PYLON_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${PYLON_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Windows programs run under Wine here; the prefix and the display come from the environment.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)

# One self-contained file that loads only system DLLs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
