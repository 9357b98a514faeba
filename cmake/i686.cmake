# SPDX-License-Identifier: MIT
# 32-bit x86: programs of the target's word size that an x86-64 machine runs by itself, ioctls of every kind included.
# SSE arithmetic has the target's precision; with the x87's longer one a backlight level could round otherwise.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The cross compiler's own loader and libraries, named in the programs: they, and what they start, need no emulator. What
# only the libraries need is asked for by the programs as well, for it is found by the path of who asks; a path that
# holds for all would go before LD_LIBRARY_PATH, by which tests choose their library.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=/usr/i686-linux-gnu/lib/ld-linux.so.2 -Wl,-rpath,/usr/i686-linux-gnu/lib -Wl,--push-state,--no-as-needed -lm -lgcc_s -Wl,--pop-state")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath,/usr/i686-linux-gnu/lib")
