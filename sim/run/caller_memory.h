// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace VelmorSim {

// The memory of a process inside that waits in a system call. False if not all of it can be reached.
//
// HAZARD: if that memory is a file of the device that the program has mapped and not used yet, the simulator must serve
// it first, and so waits for itself. Programs keep paths and results in memory of their own.

bool read_memory(int pid, unsigned long address, void* to, std::size_t size);
bool write_memory(int pid, unsigned long address, const void* from, std::size_t size);

}  // namespace VelmorSim
