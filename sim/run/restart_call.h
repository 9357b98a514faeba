// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "common/descriptor.h"

namespace VelmorSim {

/**
 * The restart system call of the processes inside, caught by the kernel before it is executed.
 *
 * HAZARD: the call is never let through. When nobody listens any more the kernel answers it with ENOSYS.
 */
class RestartCall {
public:
    struct Call {
        unsigned long long id = 0;
        /** As outside. */
        int pid = 0;
        unsigned long magic1 = 0;
        unsigned long magic2 = 0;
        unsigned long command = 0;
        /** The restart command's text, where the command has one. */
        std::optional<std::string> text{};
    };

    /** From now on this process and its children are caught. The result is the listener, or none with errno. */
    static Descriptor install();
    /** The call that waits on the listener. */
    static std::optional<Call> receive(int listener);
    /** Answer it: 0, or minus the errno. */
    static void answer(int listener, const Call& call, int result);
};

}  // namespace VelmorSim
