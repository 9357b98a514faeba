// SPDX-License-Identifier: MIT
#include "run/caller_memory.h"

#include <sys/uio.h>

namespace VelmorSim {

bool read_memory(int pid, unsigned long address, void* to, std::size_t size) {
    const iovec here{to, size};
    const iovec there{reinterpret_cast<void*>(address), size};  // NOLINT(performance-no-int-to-ptr)
    return process_vm_readv(pid, &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

bool write_memory(int pid, unsigned long address, const void* from, std::size_t size) {
    const iovec here{const_cast<void*>(from), size};            // NOLINT(cppcoreguidelines-pro-type-const-cast)
    const iovec there{reinterpret_cast<void*>(address), size};  // NOLINT(performance-no-int-to-ptr)
    return process_vm_writev(pid, &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

}  // namespace VelmorSim
