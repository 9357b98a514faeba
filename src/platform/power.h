// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "core/resource.h"

namespace Velmor {

/**
 * HAZARD: acts on the whole machine.
 *
 * Powers off and reboots by running the system's programs and suspends through "/sys/power/state". shutdown() and
 * reboot() throw if they fail and never return on success: the thread waits for the system to go down, and can be
 * cancelled while it waits. No state; any thread may use it.
 */
class Power : public Resource {
public:
    virtual void shutdown();
    /** Returns after the system has resumed. A refused suspend is not reported. */
    virtual void suspend();
    virtual void reboot();
    /**
     * Runs a program without arguments and waits for any child of the process to end. If the child's exit code is not
     * 0, throws it as the code of a std::system_error; a child that could not execute the program exits with the errno.
     * A child killed by a signal counts as success.
     */
    virtual void run_program(const std::string& path);
};

}  // namespace Velmor
