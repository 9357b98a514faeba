// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/acts.h"
#include "support/recorder.h"
#include "support/scenario.h"

namespace families {

/** Values of the hardware by name, as hardware({"set", ...}) takes them. */
using Values = std::vector<std::pair<std::string, std::string>>;

/** The call's own acts; those of the board's start are before it. */
struct Recording : testing_support::ChildResult {
    testing_support::Acts start;
};

/** Start the board and make the call. PWMs are as in the beginning where these values say nothing else. */
Recording record(const Values& before, const testing_support::Scenario& call,
                 const testing_support::Recorder& recorder);

/** A failure may leave a line exported, and the next export would be refused. */
void give_lines_back();

}  // namespace families
