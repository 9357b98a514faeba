# SPDX-License-Identifier: MIT
# Toolchain of the target: Debian's armhf cross compiler, Cortex-A9 with NEON and hard float.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a9 -mfpu=neon -mfloat-abi=hard")
# no-psabi: the notes about how g++ 7 changed the passing of records concern nothing older than the device.
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a9 -mfpu=neon -mfloat-abi=hard -Wno-psabi")
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# What the user has set stays, and goes first: a prefix of the target's is looked at as it is.
list(APPEND CMAKE_FIND_ROOT_PATH ${CMAKE_PREFIX_PATH} /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu cortex-a9 -L /usr/arm-linux-gnueabihf)
if(VELMOR_SANITIZE)
    # The address of a Thumb function is odd, which the sanitizer takes for a misaligned one.
    string(APPEND CMAKE_C_FLAGS_INIT " -marm")
    string(APPEND CMAKE_CXX_FLAGS_INIT " -marm")
endif()
if(VELMOR_SANITIZE MATCHES address)
    # The leak check stops the threads it looks at as a debugger does, which qemu's user mode does not know. The
    # sanitizer reads its options where only the emulator's own environment is to be seen.
    set(velmor_asan_options detect_leaks=0:use_sigaltstack=0)
    # The unwinder of a cancelled thread copies registers onto frames that it has left. The sanitizer takes their redzones
    # away for an exception, and not for a cancellation.
    string(APPEND velmor_asan_options :suppressions=${CMAKE_CURRENT_LIST_DIR}/armhf-asan.supp)
    # The emulator hands out about 110 MB of addresses, and then those that the sanitizer takes for the kernel's.
    string(APPEND velmor_asan_options :quarantine_size_mb=16)
    list(PREPEND CMAKE_CROSSCOMPILING_EMULATOR env ASAN_OPTIONS=${velmor_asan_options})
    # ARM's way out of a destructor's frame during an exception leaves the marks of ended scopes on the stack, and what
    # is called next is told to use memory after its scope. A thread that is cancelled ends with such a stack: no signal
    # stack is given up there.
    string(APPEND CMAKE_C_FLAGS_INIT " -fno-sanitize-address-use-after-scope")
    string(APPEND CMAKE_CXX_FLAGS_INIT " -fno-sanitize-address-use-after-scope")
endif()
