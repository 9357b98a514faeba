// SPDX-License-Identifier: MIT
// Prints the table of files for the tests: path, readers and writers, separated by tabs.
#include <iostream>

#include "files.h"

int main() {
    for (const auto& file : VelmorCtl::files())
        std::cout << file.path << "\t" << file.readers << "\t" << file.writers << "\n";
    return 0;
}
