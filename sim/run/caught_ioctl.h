// SPDX-License-Identifier: MIT
#pragma once

#include <linux/input.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>
#include <sys/types.h>

#include <array>

#include "run/call_filter.h"

namespace VelmorSim {

/**
 * An ioctl of a program that neither FUSE nor a pseudo-terminal can answer.
 *
 * FUSE does not pass on an argument if the request's number is wrong about it. The first process repeats such a call on
 * the same open file, with a request of our own that carries everything. A pseudo-terminal has no modem lines. If FUSE
 * does not answer such a call either, the first process finds out which file it is for, and the simulator answers if it
 * is a port of the device.
 */
struct CaughtIoctl {
    /** WDIOC_SETOPTIONS takes an int but says that it gives one. EVIOCGRAB takes a number but says an address. */
    static constexpr std::array<unsigned, 6> requests = {WDIOC_SETOPTIONS, EVIOCGRAB, TIOCMGET,
                                                         TIOCMSET,         TIOCMBIS,  TIOCMBIC};

    /** Reads the argument from the caller's memory, but not that of a call for modem lines. `process` and `thread`: the
     * caller's ids, as inside. */
    CaughtIoctl(const CallFilter::Call& call, int process, int thread);
    CaughtIoctl() = default;

    /** In a process inside: repeat it. Nothing is performed if FUSE does not serve the caller's open file. */
    void repeat();
    /** Whether the caller has a signal to handle. */
    bool has_signal() const;
    bool is_for_modem_lines() const { return request >= TIOCMGET && request <= TIOCMSET; }

    /** That of the waiting system call. */
    unsigned long long id = 0;
    /** The caller's thread id, as outside, and the argument's address in its memory. */
    int caller = 0;
    unsigned long address = 0;
    int process = 0;
    int thread = 0;
    int descriptor = -1;
    unsigned request = 0;
    /** Whether the argument could be read. */
    int has_argument = 0;
    int argument = 0;
    /** The caller's open file, if nothing was performed: its file system and its inode there. */
    dev_t file_system = 0;
    ino_t inode = 0;
    int is_performed = 0;
    /** At least 0, or minus the errno. */
    int result = 0;
};

/** The request with which it is repeated. */
constexpr unsigned repeated_ioctl = _IOWR('~', 1, CaughtIoctl);

}  // namespace VelmorSim
