// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace VelmorSim {

class Node;

/** The kernel's number of this device node; 0 if it is not one, or a stand-in is mounted, which has its own number. */
dev_t device_number(const Node& node);

}  // namespace VelmorSim
