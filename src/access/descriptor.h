// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace Velmor {

/**
 * Owner of one open descriptor, or of none. It is never 0, 1 or 2, even in a process that has closed these: what the
 * application prints would otherwise reach a device, and feed or disarm the watchdog.
 */
class Descriptor {
public:
    Descriptor() = default;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    /** Closes; a failure is lost. */
    ~Descriptor() { close(); }

    /** The system's open, for an owner of none. Returns the descriptor, or -1 and errno. */
    int open(const char* path, int flags, mode_t mode = 0);
    /** The system close's result, or 0 where nothing was open. Nothing is open afterwards in any case. */
    int close();

    bool is_open() const { return fd_ != -1; }
    int get() const { return fd_; }

private:
    int fd_ = -1;
};

}  // namespace Velmor
