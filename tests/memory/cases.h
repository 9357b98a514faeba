// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/scenario.h"

namespace memory {

/** A call under test. Its text is that of testing_support::answer(), and what was found afterwards. */
struct Case {
    std::string function;
    std::string what;  // distinguishes the cases of one function
    testing_support::Scenario call;
    std::function<void()> prepare = [] {};
    bool starts_board = false;  // the call is the first one of its process
};

/** All cases that a board has; the board of all families has more. */
std::vector<Case> cases(bool all_families);

/** The answers of all functions that change nothing. */
std::vector<std::string> answers_of_queries();

}  // namespace memory
