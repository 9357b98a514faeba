// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "common/descriptor.h"

namespace VelmorSim {

/**
 * The restart system call of the processes inside, which a seccomp filter stops before it is executed.
 *
 * HAZARD: the call must never be let through. Once the listener is closed, the kernel fails it with ENOSYS.
 */
class RestartCall {
public:
    struct Call {
        unsigned long long id = 0;
        /** The process id, as outside. */
        int pid = 0;
        unsigned long magic1 = 0;
        unsigned long magic2 = 0;
        unsigned long command = 0;
        /** The restart command's text, if the command has one. */
        std::optional<std::string> text{};
    };

    /** Stop the call in this process and its children from now on. Returns the listener, or none and sets errno. */
    static Descriptor install();
    /** The call that waits on the listener, or nothing if its caller has gone. */
    static std::optional<Call> receive(int listener);
    /** Answer the call with 0 or minus the errno. */
    static void answer(int listener, const Call& call, int result);
};

}  // namespace VelmorSim
