// SPDX-License-Identifier: MIT
#pragma once

#include <linux/input.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>

#include <array>

#include "run/call_filter.h"

namespace VelmorSim {

/**
 * An ioctl of a program whose argument FUSE does not pass on, because the request's number is wrong about it. The
 * first process repeats the call on the same open file, with a request of our own that carries everything.
 */
struct CaughtIoctl {
    /** WDIOC_SETOPTIONS takes an int but says that it gives one. EVIOCGRAB takes a number but says an address. */
    static constexpr std::array<unsigned, 2> requests = {WDIOC_SETOPTIONS, EVIOCGRAB};

    /** Reads the argument from the caller's memory. `process` and `thread`: the caller's ids, as inside. */
    CaughtIoctl(const CallFilter::Call& call, int process, int thread);
    CaughtIoctl() = default;

    /** In a process inside: repeat it. Nothing is performed if the caller's open file is not the device's. */
    void repeat();

    /** That of the waiting system call. */
    unsigned long long id = 0;
    int process = 0;
    int thread = 0;
    int descriptor = -1;
    unsigned request = 0;
    /** Whether the argument could be read. */
    int has_argument = 0;
    int argument = 0;
    int is_performed = 0;
    /** At least 0, or minus the errno. */
    int result = 0;
};

/** The request with which it is repeated. */
constexpr unsigned repeated_ioctl = _IOWR('~', 1, CaughtIoctl);

}  // namespace VelmorSim
