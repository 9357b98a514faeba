// SPDX-License-Identifier: MIT
// Calls one function of the library by name, with index 0 if it takes one, and prints its result, such as
// "-95 errno 95: untouched". LD_LIBRARY_PATH selects the library and thereby the board.
#include <cstdio>
#include <exception>

#include "families/calls.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: call_function NAME\n", stderr);
        return 2;
    }
    try {
        std::printf("%s\n", families::calls().at(argv[1])(0).c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "call_function: %s\n", error.what());
        return 2;
    }
    return 0;
}
