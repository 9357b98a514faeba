// SPDX-License-Identifier: MIT
// Prints the table of files for the tests: path, readers, writers and the boards, separated by tabs.
#include <iostream>

#include "files.h"

int main() {
    for (const auto& file : VelmorCtl::files())
        std::cout << file.path << "\t" << file.readers << "\t" << file.writers << "\t"
                  << (file.fitted == VelmorCtl::Fitted::other_boards ? "other boards" : "this device") << "\n";
    return 0;
}
