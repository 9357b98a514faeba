// SPDX-License-Identifier: MIT
#include "system/stand_in_ioctl.h"

#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace testing_support {

namespace {
bool standing_in = false;
int answered_error = 0;
}  // namespace

std::vector<std::string> StandInIoctl::seen;

StandInIoctl::StandInIoctl(int error) {
    standing_in = true;
    answered_error = error;
}

StandInIoctl::~StandInIoctl() {
    standing_in = false;
}

}  // namespace testing_support

// Replaces the C library's function: the device's nodes are plain files here.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (!testing_support::standing_in) return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
    std::array<char, 64> text = {};
    std::snprintf(text.data(), text.size(), "0x%lx %d", request & 0xFFFFFFFFUL, *static_cast<int*>(argument));
    testing_support::StandInIoctl::seen.emplace_back(text.data());
    if (testing_support::answered_error == 0) return 0;
    errno = testing_support::answered_error;
    return -1;
}
