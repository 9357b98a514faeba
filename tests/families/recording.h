// SPDX-License-Identifier: MIT
#pragma once

#include "families/virtual_device.h"
#include "support/acts.h"
#include "support/recorder.h"
#include "support/scenario.h"

namespace families {

/** The acts of a call, apart from those of the board's start before it. */
struct Recording : testing_support::ChildResult {
    testing_support::Acts start;
};

/** Start the board and make the call. The PWMs are reset unless these values set them. */
Recording record(const std::string& before, const testing_support::Scenario& call,
                 const testing_support::Recorder& recorder);

/** Unexport the lines that a failure has left exported: their next export would be refused. */
void give_lines_back();

}  // namespace families
