/* SPDX-License-Identifier: MIT */

/* An input device of one's own, for the board's programs. */

#ifndef VELMOR_BOARD_UINPUT_H
#define VELMOR_BOARD_UINPUT_H

#include <linux/input.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>

#include "check.h"

/* With these absolute axes, from -2048 to 2047. The device goes with the descriptor. */
static inline int make_input(const char* name, const int* axes, int count) {
    struct uinput_setup setup = {.id = {.bustype = BUS_VIRTUAL, .vendor = 1, .product = 1}};
    int fd = open("/dev/uinput", O_WRONLY | O_CLOEXEC);
    int i;

    snprintf(setup.name, sizeof setup.name, "%s", name);
    ioctl(fd, UI_SET_EVBIT, EV_ABS);
    for (i = 0; i < count; ++i) {
        struct uinput_abs_setup axis = {.code = (__u16)axes[i], .absinfo = {.minimum = -2048, .maximum = 2047}};
        ioctl(fd, UI_ABS_SETUP, &axis);
    }
    if (ioctl(fd, UI_DEV_SETUP, &setup) != 0 || ioctl(fd, UI_DEV_CREATE) != 0) {
        fprintf(stderr, "no uinput device: %s\n", strerror(errno));
        exit(1);
    }
    return fd;
}

/* What a driver does when its sensor has a new value. */
static inline void move_axis(int fd, int axis, int value) {
    struct input_event events[2];

    memset(events, 0, sizeof events);
    events[0].type = EV_ABS;
    events[0].code = (__u16)axis;
    events[0].value = value;
    if (write(fd, events, sizeof events) != (ssize_t)sizeof events) fprintf(stderr, "no event: %s\n", strerror(errno));
}

#endif
