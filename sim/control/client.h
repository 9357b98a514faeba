// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "control/commands.h"

namespace VelmorSim {

/**
 * Send a command to a run and print the answer to std::cout, whose state shows whether that succeeded. An empty name
 * means the only run there is. Returns 0, or 1 after printing the reason on standard error. Throws std::exception if
 * there is no such run, or if it is another user's.
 */
int send_command(const std::string& run, const Words& words);

}  // namespace VelmorSim
