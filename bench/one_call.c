/* SPDX-License-Identifier: MIT */
/* Calls one function a number of times, so that scripts/figures and scripts/bench can count what it costs. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <velmor.h>

/* Shows what the loop itself costs. */
static int do_nothing(void) {
    return 0;
}

static int get_backlight(void) {
    uint32_t level = 0;
    return backlight_get(0, &level);
}

static int set_backlight(void) {
    return backlight_set(0, 128);
}

static int get_thermal_state(void) {
    thermal_state_t state;
    return thermal_state_get(0, &state);
}

static int set_io(void) {
    return io_set(9, 1);
}

static int get_io(void) {
    io_value_t value = 0;
    return io_get(9, &value);
}

static int get_platform_info(void) {
    platform_info_t info;
    return platform_info_get(&info, sizeof info);
}

static int ask_wifi(void) {
    bool present = false;
    return wifi_present(&present);
}

static int get_gps_info(void) {
    gps_info_t info;
    return gps_info_get(&info);
}

static const struct {
    const char* name;
    int (*call)(void);
} functions[] = {
    {"nothing", do_nothing},
    {"backlight_get", get_backlight},
    {"backlight_set", set_backlight},
    {"thermal_state_get", get_thermal_state},
    {"io_set", set_io},
    {"io_get", get_io},
    {"platform_info_get", get_platform_info},
    {"wifi_present", ask_wifi},
    {"gps_info_get", get_gps_info},
};

int main(int argc, char** argv) {
    size_t i = 0;
    long calls = 0;

    if (argc == 3) {
        for (i = 0; i < sizeof functions / sizeof *functions; i++) {
            if (strcmp(functions[i].name, argv[1]) != 0) continue;
            for (calls = strtol(argv[2], NULL, 10); calls > 0; calls--) {
                if (functions[i].call() != 0) return 1;
            }
            return 0;
        }
    }
    fprintf(stderr, "usage: one_call FUNCTION COUNT; the functions:");
    for (i = 0; i < sizeof functions / sizeof *functions; i++) fprintf(stderr, " %s", functions[i].name);
    fprintf(stderr, "\n");
    return 2;
}
