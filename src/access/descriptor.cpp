// SPDX-License-Identifier: MIT
#include "access/descriptor.h"

#include <fcntl.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <utility>

namespace Velmor {

namespace {

/** Set for good when the system has handed out 0, 1 or 2: this process closes its standard descriptors. */
constinit std::atomic<bool> standard_descriptors_closed = false;

/**
 * In such a process, holds the free ones of 0, 1 and 2 while a file is opened, so that the file gets another: moved
 * away after the open, it would have been in reach of another thread's output for a moment. The holders cannot be
 * written to (O_PATH), so that to the application they are as closed as before.
 */
class StandardDescriptorsHeld {
public:
    StandardDescriptorsHeld() {
        if (!standard_descriptors_closed) return;
        int fd = -1;
        while ((fd = ::open("/", O_PATH | O_CLOEXEC)) >= 0 && fd <= STDERR_FILENO) held_[count_++] = fd;
        if (fd >= 0) ::close(fd);
    }
    StandardDescriptorsHeld(const StandardDescriptorsHeld&) = delete;
    StandardDescriptorsHeld(StandardDescriptorsHeld&&) = delete;
    StandardDescriptorsHeld& operator=(const StandardDescriptorsHeld&) = delete;
    StandardDescriptorsHeld& operator=(StandardDescriptorsHeld&&) = delete;
    ~StandardDescriptorsHeld() {
        const int error = errno;
        while (count_ > 0) ::close(held_[--count_]);
        errno = error;
    }

private:
    int held_[STDERR_FILENO + 1] = {};
    int count_ = 0;
};

/** For the first open that meets a closed standard descriptor. */
int move_up(int fd, int flags) {
    standard_descriptors_closed = true;
    const int above = ::fcntl(fd, (flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD, STDERR_FILENO + 1);
    const int error = errno;
    ::close(fd);
    errno = error;
    return above;
}

}  // namespace

Descriptor::~Descriptor() {
    close();
}

int Descriptor::open(const char* path, int flags, mode_t mode) {
    const StandardDescriptorsHeld held;
    fd_ = ::open(path, flags, mode);
    if (fd_ >= 0 && fd_ <= STDERR_FILENO) fd_ = move_up(fd_, flags);
    return fd_;
}

int Descriptor::close() {
    return is_open() ? ::close(std::exchange(fd_, -1)) : 0;
}

}  // namespace Velmor
