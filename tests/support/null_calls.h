// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "support/scenario.h"

namespace testing_support {

/** A call with a null pointer: of this function, in place of this argument where it has several. */
struct NullCall {
    std::string function;
    std::string argument;
    Scenario call;

    std::string name() const { return argument.empty() ? function : function + "_" + argument; }
};

/** Every pointer of every function. */
std::vector<NullCall> null_calls();

}  // namespace testing_support
