// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace families {

/** What a test shows of a function: that it works, what it makes of bad input or of a failure, and without hardware. */
enum class Kind { good, bad_input, absent };

/** Say, in a test, what it shows: it is counted in the table when it passes. */
void proves(const std::string& function, Kind kind);

/** Count the passing tests from here on, and have a last test print the table and fail for an empty cell. */
void keep_table();

}  // namespace families
