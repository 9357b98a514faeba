// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace testing_support {

/** The functions that the library exports, in the order of the public header, which is the only list of them. */
std::vector<std::string> exported_functions();

}  // namespace testing_support
