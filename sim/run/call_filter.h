// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <optional>

#include "common/descriptor.h"

namespace VelmorSim {

/**
 * The system calls of the processes inside that a seccomp filter stops before they are executed: the restart call, and
 * ioctls with an argument that neither FUSE nor a pseudo-terminal would pass on.
 *
 * HAZARD: once the listener is closed, the kernel fails all of them with ENOSYS.
 */
class CallFilter {
public:
    enum class Kind { restart, ioctl };
    struct Call {
        unsigned long long id = 0;
        /** The thread id, as outside. */
        int pid = 0;
        Kind kind = Kind::restart;
        std::array<unsigned long, 4> arguments{};
    };

    /** Stop the calls in this process and its children from now on. Returns the listener, or none and sets errno. */
    static Descriptor install();
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
