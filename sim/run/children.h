// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace VelmorSim {

/**
 * Kill the children of this process, and then those that they leave to it, until there are none. `proc` is a "/proc"
 * for its PID namespace. If `only_inside`, spare those in the user namespace of this process.
 */
void kill_children(const std::string& proc, bool only_inside);

}  // namespace VelmorSim
