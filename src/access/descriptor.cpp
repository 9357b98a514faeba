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

// In such a process the free ones of 0, 1 and 2 are held while a file is opened, so that it gets another: moved away
// afterwards, as the first file is, it would be in reach of another thread's output for a moment. What holds them
// cannot be written to (O_PATH), so that to the application they are as closed as before.
[[gnu::cold, gnu::noinline]] int open_beside_held_ones(const char* path, int flags, mode_t mode) {
    int held[STDERR_FILENO + 1];
    int count = 0;
    for (int fd = 0; fd >= 0 && fd <= STDERR_FILENO && count <= STDERR_FILENO; held[count++] = fd)
        fd = ::open("/", O_PATH | O_CLOEXEC);
    const int opened = ::open(path, flags, mode);
    const int error = errno;
    while (count > 0) ::close(held[--count]);
    errno = error;
    return opened;
}

}  // namespace

int Descriptor::open(const char* path, int flags, mode_t mode) {
    fd_ = standard_descriptors_closed ? open_beside_held_ones(path, flags, mode) : ::open(path, flags, mode);
    if (fd_ >= 0 && fd_ <= STDERR_FILENO) {
        standard_descriptors_closed = true;  // for the next ones; this one moves
        const int duplicate = (flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD;
        Descriptor low;
        low.fd_ = std::exchange(fd_, ::fcntl(fd_, duplicate, STDERR_FILENO + 1));
    }
    return fd_;
}

int Descriptor::close() {
    return is_open() ? ::close(std::exchange(fd_, -1)) : 0;
}

}  // namespace Velmor
