# SPDX-License-Identifier: MIT
# Toolchain of the target: Debian's armhf cross compiler, Cortex-A9 with NEON and hard float.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a9 -mfpu=neon -mfloat-abi=hard")
# no-psabi: no notes that g++ 7 passes records differently; nothing on the device is older.
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a9 -mfpu=neon -mfloat-abi=hard -Wno-psabi")
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# What the user has set is kept and searched first: a prefix for the target is used as given.
list(APPEND CMAKE_FIND_ROOT_PATH ${CMAKE_PREFIX_PATH} /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu cortex-a9 -L /usr/arm-linux-gnueabihf)
if(VELMOR_SANITIZE)
    # The address of a Thumb function is odd, which the sanitizer takes for misaligned.
    string(APPEND CMAKE_C_FLAGS_INIT " -marm")
    string(APPEND CMAKE_CXX_FLAGS_INIT " -marm")
endif()
if(VELMOR_SANITIZE MATCHES address)
    # The leak check stops threads as a debugger does, which qemu's user mode does not support. The sanitizer sees only
    # the emulator's own environment, so its options are set there.
    set(velmor_asan_options detect_leaks=0:use_sigaltstack=0)
    # The unwinder of a cancelled thread copies registers onto frames that it has left. The sanitizer clears their
    # redzones for an exception, but not for a cancellation.
    string(APPEND velmor_asan_options :suppressions=${CMAKE_CURRENT_LIST_DIR}/armhf-asan.supp)
    # After about 110 MB the emulator hands out addresses that the sanitizer takes for the kernel's.
    string(APPEND velmor_asan_options :quarantine_size_mb=16)
    list(PREPEND CMAKE_CROSSCOMPILING_EMULATOR env ASAN_OPTIONS=${velmor_asan_options})
    # On ARM, an exception that passes a destructor's frame leaves the marks of ended scopes on the stack, and the
    # functions called next are reported for use after scope. A cancelled thread ends with such a stack, so
    # use_sigaltstack is off: there is no signal stack to release.
    string(APPEND CMAKE_C_FLAGS_INIT " -fno-sanitize-address-use-after-scope")
    string(APPEND CMAKE_CXX_FLAGS_INIT " -fno-sanitize-address-use-after-scope")
endif()
