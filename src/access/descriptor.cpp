// SPDX-License-Identifier: MIT
#include "access/descriptor.h"

#include <fcntl.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <utility>

namespace Velmor {

namespace {

/** Set for good once the system has returned 0, 1 or 2: this process closes its standard descriptors. */
constinit std::atomic<bool> standard_descriptors_closed = false;

// In such a process, the free descriptors among 0, 1 and 2 are occupied while a file is opened, so that the file gets
// another number. If it were moved afterwards, as the first file is, another thread's output could reach it for a
// moment. The descriptors that occupy them cannot be written to (O_PATH), so for the application they are as good as
// closed.
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
        standard_descriptors_closed = true;  // for later files; this one is moved
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
