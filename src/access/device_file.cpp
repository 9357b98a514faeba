// SPDX-License-Identifier: MIT
#include "access/device_file.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <cerrno>

#include "access/failure.h"

namespace Velmor {

namespace {

std::size_t whole(ssize_t transferred, std::size_t length) {
    if (transferred < 0) throw_system_error(errno);
    if (static_cast<std::size_t>(transferred) != length) throw_system_error(EIO);
    return length;
}

}  // namespace

int DeviceFile::open(int flags) {
    close();
    const int fd = fd_.open(path_.c_str(), flags);
    if (fd < 0) throw_system_error(errno);
    return fd;
}

std::size_t DeviceFile::read(void* buffer, std::size_t length) {
    if (!is_open()) throw_system_error(EINVAL);
    return whole(::read(fd_.get(), buffer, length), length);
}

std::size_t DeviceFile::write(const void* buffer, std::size_t length) {
    if (!is_open()) throw_system_error(EINVAL);
    return whole(::write(fd_.get(), buffer, length), length);
}

int DeviceFile::ioctl(unsigned long request, void* argument) {
    if (!is_open()) throw_system_error(EINVAL);
    const int result = ::ioctl(fd_.get(), request, argument);
    if (result < 0) throw_system_error(errno);
    return result;
}

}  // namespace Velmor
