// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "access/descriptor.h"

namespace Velmor {

/**
 * Owner of one descriptor on a device node. Every failing system call is a std::system_error with its errno; using a
 * file that is not open is EINVAL, a short transfer EIO. There is no retry, not after EINTR either.
 *
 * Threads: none of its own; one object is used by its resource only.
 */
class DeviceFile {
public:
    explicit DeviceFile(std::string path) : path_(std::move(path)) {}
    DeviceFile(const DeviceFile&) = delete;
    DeviceFile& operator=(const DeviceFile&) = delete;

    virtual ~DeviceFile() = default;
    /** Open with the system's open flags; closes first what is open. Never creates. Returns the descriptor. */
    virtual int open(int flags);
    /** Returns the system close's result, or 0 when nothing was open. The file is closed afterwards in any case. */
    virtual int close() { return is_open() ? fd_.close() : 0; }
    virtual bool is_open() const { return fd_.is_open(); }
    /** Exactly this many bytes. */
    virtual std::size_t read(void* buffer, std::size_t length);
    /** Exactly this many bytes. */
    virtual std::size_t write(const void* buffer, std::size_t length);
    /** Returns the system ioctl's result, which is not negative. */
    virtual int ioctl(unsigned long request, void* argument);

private:
    std::string path_;
    Descriptor fd_;
};

}  // namespace Velmor
