// SPDX-License-Identifier: MIT
#include "input_device.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdarg>

namespace {

InputDevice* device = nullptr;

}  // namespace

InputDevice::InputDevice() {
    testing_support::put(node_, "");
    device = this;
}

InputDevice::~InputDevice() {
    device = nullptr;
}

std::vector<unsigned long> InputDevice::requests() const {
    std::vector<unsigned long> result;
    for (const Query& query : queries) result.push_back(query.request);
    return result;
}

extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (device == nullptr) {
        static const auto real = reinterpret_cast<int (*)(int, unsigned long, ...)>(dlsym(RTLD_NEXT, "ioctl"));
        return real(fd, request, argument);
    }
    device->queries.push_back({fd, fcntl(fd, F_GETFL), fcntl(fd, F_GETFD), request});
    const auto value = device->values.find(request);
    if (value == device->values.end()) {
        errno = device->error;
        return -1;
    }
    // The other five fields are filled too, with what no axis may report.
    *static_cast<input_absinfo*>(argument) = {value->second, -9991, -9992, -9993, -9994, -9995};
    return 0;
}
