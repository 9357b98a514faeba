# SPDX-License-Identifier: MIT
# Compile options of every target of this project. Warnings are errors only if CMAKE_COMPILE_WARNING_AS_ERROR is set, as
# in the presets, because another compiler may have other warnings.

add_library(velmor_compile_options INTERFACE)
target_compile_features(velmor_compile_options INTERFACE cxx_std_20 c_std_99)
target_compile_options(velmor_compile_options INTERFACE
    -Wall -Wextra -Wpedantic
    -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wundef -Wcast-align -Wcast-qual -Wnull-dereference
    -Wdouble-promotion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wextra-semi>
    $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op -Wduplicated-cond -Wduplicated-branches>
    # clang does not need gnu::stack_protect, nor recognise it.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-attributes>
    # No fused multiply-add: backlight levels must round alike on every processor.
    -ffp-contract=off)

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(VELMOR_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined or thread")
if(VELMOR_SANITIZE)
    add_compile_options(-fsanitize=${VELMOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VELMOR_SANITIZE})
    # A C program provides the sanitizer's runtime for the library too, which needs the one for C++.
    if(VELMOR_SANITIZE MATCHES undefined)
        add_link_options("$<$<LINK_LANG_AND_ID:C,Clang>:-fsanitize-link-c++-runtime;-lstdc++>")
    endif()
endif()

option(VELMOR_COVERAGE "Build with clang's source-based coverage" OFF)
if(VELMOR_COVERAGE)
    # Counters in the profile file are not lost when tests kill a child.
    add_compile_options(-fprofile-instr-generate -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation=true")
    add_link_options(-fprofile-instr-generate)
endif()
