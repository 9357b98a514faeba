// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace families {

/** What a test shows: the function works, how it handles bad input or a failure, or its behaviour without hardware. */
enum class Kind { good, bad_input, absent };

/** The current test shows this of these functions: the table counts it if it passes. Not every test needs to say so. */
void proves(Kind kind, const std::vector<std::string>& functions);

/** Count the tests that pass from now on. A last test prints the table and fails if a cell is empty. */
void keep_table();

}  // namespace families
