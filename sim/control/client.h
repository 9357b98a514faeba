// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "control/commands.h"

namespace VelmorSim {

/**
 * Have a run do a command and print what it says. An empty name means the only run there is. 0 when it was done, 1 when
 * it failed, each failure with one line on standard error.
 */
int send_command(const std::string& run, const Words& words);

}  // namespace VelmorSim
