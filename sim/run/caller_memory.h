// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace VelmorSim {

// The memory of a process inside that waits in a system call. False if not all of it can be reached.

bool read_memory(int pid, unsigned long address, void* to, std::size_t size);
bool write_memory(int pid, unsigned long address, const void* from, std::size_t size);

}  // namespace VelmorSim
