// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace memory {

/** A call under test. Its text is what testing_support::answer() tells of the call, and what was found afterwards. */
struct Case {
    std::string function;
    std::string what;  // tells cases of one function apart
    std::function<std::string()> call;
    std::function<void()> prepare = [] {};
    bool starts_board = false;  // it is the first call of its process
};

/** All calls that are tried on a board; the one of all families has more to try. */
std::vector<Case> cases(bool all_families);

/** The answers of all functions that change nothing. */
std::vector<std::string> answers_of_queries();

}  // namespace memory
