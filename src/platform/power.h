// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "core/resource.h"

namespace Velmor {

/**
 * HAZARD: acts on the whole machine.
 *
 * Powers off and reboots by running the system's programs and suspends through "/sys/power/state". shutdown() and
 * reboot() return only by failing; on success the thread waits for the end of the system, where it can be cancelled.
 * No state; any threads.
 */
class Power : public Resource {
public:
    virtual void shutdown();
    /** Returns after the system has resumed. A refused suspend is not reported. */
    virtual void suspend();
    virtual void reboot();
    /**
     * Run a program without arguments and wait for any child of the process to end. Its exit code, where it is not 0,
     * is thrown as the code of a std::system_error; a child that could not execute the program exits with the errno.
     * A child killed by a signal counts as success.
     */
    virtual void run_program(const std::string& path);
};

}  // namespace Velmor
