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

}  // namespace

int Descriptor::open(const char* path, int flags, mode_t mode) {
    // In such a process the free ones of 0, 1 and 2 are held while the file is opened, so that it gets another: moved
    // away afterwards, as the first file is, it would be in reach of another thread's output for a moment. What holds
    // them cannot be written to (O_PATH), so that to the application they are as closed as before.
    int held[STDERR_FILENO + 2];  // and the file itself
    int count = 0;
    while (standard_descriptors_closed && count <= STDERR_FILENO) {
        const int fd = ::open("/", O_PATH | O_CLOEXEC);
        if (fd >= 0) held[count++] = fd;
        if (fd < 0 || fd > STDERR_FILENO) break;
    }
    fd_ = ::open(path, flags, mode);
    if (fd_ >= 0 && fd_ <= STDERR_FILENO) {
        standard_descriptors_closed = true;  // for the next ones; this one moves
        held[count++] = fd_;
        fd_ = ::fcntl(fd_, (flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD, STDERR_FILENO + 1);
    }
    const int error = errno;
    while (count > 0) ::close(held[--count]);
    errno = error;
    return fd_;
}

int Descriptor::close() {
    return is_open() ? ::close(std::exchange(fd_, -1)) : 0;
}

}  // namespace Velmor
