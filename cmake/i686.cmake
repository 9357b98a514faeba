# SPDX-License-Identifier: MIT
# 32-bit x86: programs with the target's word size that run natively on an x86-64 machine, with ioctls of every kind.
# SSE arithmetic has the target's precision; with the x87's higher precision a backlight level could round differently.
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
# The programs name the cross compiler's own loader and libraries, so they and what they start need no emulator. A
# library is found through the run path of the file that needs it, so the programs also link what only other libraries
# need. A run path that applies to all of them would precede LD_LIBRARY_PATH, by which tests choose their library.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=/usr/i686-linux-gnu/lib/ld-linux.so.2 -Wl,-rpath,/usr/i686-linux-gnu/lib -Wl,--push-state,--no-as-needed -lm -lgcc_s -Wl,--pop-state")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath,/usr/i686-linux-gnu/lib")
