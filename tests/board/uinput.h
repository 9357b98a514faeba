// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <linux/input.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <string>
#include <vector>

namespace board {

// Failures show in the checks of what a program then reads from the device.

/** Make an input device with these absolute axes, from -2048 to 2047. It exists until its descriptor is closed. */
inline int make_input(const std::string& name, const std::vector<int>& axes) {
    uinput_setup setup = {};
    setup.id = {.bustype = BUS_VIRTUAL, .vendor = 1, .product = 1, .version = 0};
    name.copy(setup.name, sizeof setup.name - 1);
    const int fd = open("/dev/uinput", O_WRONLY | O_CLOEXEC);
    ioctl(fd, UI_SET_EVBIT, EV_ABS);
    for (const int code : axes) {
        uinput_abs_setup axis = {};
        axis.code = static_cast<__u16>(code);
        axis.absinfo.minimum = -2048;
        axis.absinfo.maximum = 2047;
        ioctl(fd, UI_ABS_SETUP, &axis);
    }
    ioctl(fd, UI_DEV_SETUP, &setup);
    ioctl(fd, UI_DEV_CREATE);
    return fd;
}

/** What a driver does when its sensor has a new value. */
inline void move_axis(int fd, int axis, int value) {
    input_event events[2] = {};
    events[0].type = EV_ABS;
    events[0].code = static_cast<__u16>(axis);
    events[0].value = value;
    static_cast<void>(write(fd, events, sizeof events));
}

}  // namespace board
