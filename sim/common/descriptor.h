// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <utility>

namespace VelmorSim {

/** Owner of one open descriptor, or of none. */
class Descriptor {
public:
    Descriptor() = default;
    /** What a system call has opened, or -1. */
    explicit Descriptor(int opened) : fd_(opened) {}
    Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
    /** The other one closes what was open here. */
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
    /** For a system call; -1 where nothing is open. */
    int get() const { return fd_; }
    /** From now on the caller owns it. */
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_ = -1;
};

}  // namespace VelmorSim
