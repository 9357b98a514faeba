// SPDX-License-Identifier: MIT
#include "support/ioctl_stand_in.h"

#include <dlfcn.h>
#include <sys/ioctl.h>
#include <cerrno>
#include <cstdarg>

namespace testing_support {

namespace {

IoctlStandIn* stand_in = nullptr;

}  // namespace

IoctlStandIn::IoctlStandIn() {
    stand_in = this;
}

IoctlStandIn::~IoctlStandIn() {
    stand_in = nullptr;
}

}  // namespace testing_support

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (testing_support::stand_in == nullptr) {
        static const auto real = reinterpret_cast<int (*)(int, unsigned long, ...)>(dlsym(RTLD_NEXT, "ioctl"));
        return real(fd, request, argument);
    }
    const int error = testing_support::stand_in->ioctl(fd, request, argument);
    if (error == 0) return 0;
    errno = error;
    return -1;
}
