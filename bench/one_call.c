/* SPDX-License-Identifier: MIT */
/* Calls one function a number of times, for scripts/figures to count what that costs. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <velmor.h>

static int once(const char* function) {
    if (strcmp(function, "backlight_get") == 0) {
        uint32_t level = 0;
        return backlight_get(0, &level);
    }
    if (strcmp(function, "thermal_state_get") == 0) {
        thermal_state_t state;
        return thermal_state_get(0, &state);
    }
    if (strcmp(function, "io_set") == 0) return io_set(9, 1);
    if (strcmp(function, "gps_info_get") == 0) {
        gps_info_t info;
        return gps_info_get(&info);
    }
    return -1;
}

int main(int argc, char** argv) {
    long calls = 0;

    if (argc != 3) {
        fprintf(stderr, "usage: one_call backlight_get|thermal_state_get|io_set|gps_info_get COUNT\n");
        return 2;
    }
    for (calls = strtol(argv[2], NULL, 10); calls > 0; calls--) {
        if (once(argv[1]) != 0) return 1;
    }
    return 0;
}
