// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace Velmor {

/**
 * Owns one open descriptor, or none. It is never 0, 1 or 2, even in a process that has closed these: otherwise the
 * application's output would reach a device, and could feed or disarm the watchdog.
 */
class Descriptor {
public:
    Descriptor() = default;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    /** Closes; a failure is not reported. */
    ~Descriptor() { close(); }

    /** The system's open(); nothing may be open before. Returns the descriptor, or -1 with errno. */
    int open(const char* path, int flags, mode_t mode = 0);
    /**
     * Returns the result of the system's close(), or 0 if nothing was open. Nothing is open afterwards in either case.
     */
    int close();

    bool is_open() const { return fd_ != -1; }
    int get() const { return fd_; }

private:
    int fd_ = -1;
};

}  // namespace Velmor
