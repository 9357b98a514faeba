// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "access/descriptor.h"

namespace Velmor {

/**
 * Owns one descriptor of a device node. Every failing system call throws std::system_error with its errno; using a file
 * that is not open throws EINVAL, a short transfer EIO. Nothing is retried, not even after EINTR.
 *
 * Threads: not synchronised; only the resource that has an object uses it.
 */
class DeviceFile {
public:
    explicit DeviceFile(std::string path) : path_(std::move(path)) {}
    DeviceFile(const DeviceFile&) = delete;
    DeviceFile& operator=(const DeviceFile&) = delete;

    virtual ~DeviceFile() = default;
    /**
     * Opens with the flags of the system's open(), after closing an open file. Never creates. Returns the descriptor.
     */
    virtual int open(int flags);
    /**
     * Returns the result of the system's close(), or 0 if nothing was open. The file is closed afterwards in either
     * case.
     */
    virtual int close() { return is_open() ? fd_.close() : 0; }
    virtual bool is_open() const { return fd_.is_open(); }
    /** Reads exactly this many bytes. */
    virtual std::size_t read(void* buffer, std::size_t length);
    /** Writes exactly this many bytes. */
    virtual std::size_t write(const void* buffer, std::size_t length);
    /** Returns the result of the system's ioctl(), which is not negative. */
    virtual int ioctl(unsigned long request, void* argument);

private:
    std::string path_;
    Descriptor fd_;
};

}  // namespace Velmor
