# SPDX-License-Identifier: MIT
# What every target of this project is compiled with. Warnings are errors where CMAKE_COMPILE_WARNING_AS_ERROR says so,
# as the presets do: another compiler finds others.

add_library(velmor_compile_options INTERFACE)
target_compile_features(velmor_compile_options INTERFACE cxx_std_20 c_std_99)
target_compile_options(velmor_compile_options INTERFACE
    -Wall -Wextra -Wpedantic
    -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wundef -Wcast-align -Wcast-qual -Wnull-dereference
    -Wdouble-promotion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wextra-semi>
    $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op -Wduplicated-cond -Wduplicated-branches>
    # clang needs no gnu::stack_protect, and does not know it.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-attributes>
    # Backlight levels must round alike on every processor: no fused multiply-add.
    -ffp-contract=off)

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(VELMOR_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined or thread")
if(VELMOR_SANITIZE)
    add_compile_options(-fsanitize=${VELMOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VELMOR_SANITIZE})
    # A C program brings the sanitizer's runtime for the library along, which needs the one for C++.
    if(VELMOR_SANITIZE MATCHES undefined)
        add_link_options("$<$<LINK_LANG_AND_ID:C,Clang>:-fsanitize-link-c++-runtime;-lstdc++>")
    endif()
endif()

option(VELMOR_COVERAGE "Build with clang's source-based coverage" OFF)
if(VELMOR_COVERAGE)
    # Counters that live in the profile file survive the children that tests kill.
    add_compile_options(-fprofile-instr-generate -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation=true")
    add_link_options(-fprofile-instr-generate)
endif()
