// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <utility>

namespace VelmorSim {

/** Owns one open descriptor, or none. */
class Descriptor {
public:
    Descriptor() = default;
    /** Takes the result of a system call: an open descriptor, or -1. */
    explicit Descriptor(int opened) : fd_(opened) {}
    Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
    /** Swaps the two: what was open here is closed when `other` is destroyed. */
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (is_open()) close(fd_);
    }

    bool is_open() const { return fd_ >= 0; }
    /** The descriptor, or -1 if none is open. */
    int get() const { return fd_; }
    /** The descriptor, which the caller owns from now on. */
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_ = -1;
};

}  // namespace VelmorSim
