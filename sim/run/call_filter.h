// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>

#include "common/descriptor.h"

namespace VelmorSim {

/**
 * The system calls of the processes inside that a seccomp filter stops before they are executed: the restart call,
 * ioctls with an argument that neither FUSE nor a pseudo-terminal would pass on, and on request those of the stat
 * family.
 *
 * HAZARD: once the listener is closed, the kernel fails all of them with ENOSYS.
 */
class CallFilter {
public:
    enum class Kind { restart, ioctl, stat };
    struct Call {
        unsigned long long id = 0;
        /** The thread id, as outside. */
        int pid = 0;
        Kind kind = Kind::restart;
        /** The system call's number. */
        unsigned number = 0;
        std::array<unsigned long, 5> arguments{};
    };

    /**
     * Stop the calls in this process and its children from now on; those of the stat family only if `stats`. Returns
     * the listener, or none and sets errno.
     */
    static Descriptor install(bool stats);
    /** The call that waits on the listener, or nothing if its caller has gone. */
    static std::optional<Call> receive(int listener);
    /** Whether the call still waits: its caller has not been killed, so its thread id is still the caller's. */
    static bool is_waiting(int listener, unsigned long long id);
    /** Answer the call with 0 or minus the errno. */
    static void answer(int listener, unsigned long long id, int result);
    /** Let the machine's kernel execute the call. HAZARD: never for a restart. */
    static void let_through(int listener, unsigned long long id);
};

}  // namespace VelmorSim
