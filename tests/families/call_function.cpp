// SPDX-License-Identifier: MIT
// Calls functions of the library by name, each with this index or 0 if it takes one, and prints the results, such as
// "-95 errno 95: untouched". LD_LIBRARY_PATH selects the library and thereby the board.
#include <cstdio>
#include <exception>
#include <string>

#include "families/calls.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: call_function NAME[:INDEX]...\n", stderr);
        return 2;
    }
    try {
        for (int i = 1; i < argc; ++i) {
            const std::string argument = argv[i];
            const std::size_t colon = argument.find(':');
            const int index = colon == std::string::npos ? 0 : std::stoi(argument.substr(colon + 1));
            std::printf("%s\n", families::calls().at(argument.substr(0, colon))(index).c_str());
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "call_function: %s\n", error.what());
        return 2;
    }
    return 0;
}
