/* SPDX-License-Identifier: MIT */

/*
 * Checks libvelmor against real kernel drivers, on the board that
 * tests/board/run emulates.
 *
 * It arms the watchdog and suspends the machine: for that board only.
 */

#include "check.h"

#include <sched.h>
#include <stdint.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <velmor.h>

#define BACKLIGHT "/sys/class/backlight/pwm-backlight.0"
#define BLANK "/sys/class/graphics/fb0/blank"
#define WATCHDOG "/sys/class/watchdog/watchdog0"
#define SUSPEND_STATS "/sys/power/suspend_stats"

/*
 * The library never asks the driver for more than max_brightness, so the
 * driver's own refusal shows only when that attribute overstates it.
 */
static void backlight_range(void) {
    const char* overstated = "/tmp/max_brightness";
    FILE* file = fopen(overstated, "w");

    if (file != NULL) {
        fputs("100\n", file);
        fclose(file);
    }
    if (file == NULL || unshare(CLONE_NEWNS) != 0 || mount(NULL, "/", NULL, MS_REC | MS_PRIVATE, NULL) != 0 ||
        mount(overstated, BACKLIGHT "/max_brightness", NULL, MS_BIND, NULL) != 0) {
        check(false, "max_brightness can be overstated", "a refusal");
        return;
    }
    put(BACKLIGHT "/brightness", "3");
    check_text("max_brightness is overstated", "100", text_of(BACKLIGHT "/max_brightness"));
    REFUSED(-1, "backlight_set failed: basic_ios::clear: iostream error\n", backlight_set(0, 255));
    check_text("the driver kept its brightness", "3", text_of(BACKLIGHT "/brightness"));
}

/* In a child, since a process reads max_brightness only once. */
static void check_backlight_range(void) {
    int status = -1;
    pid_t child = fork();

    if (child == 0) {
        backlight_range();
        _exit(0);
    }
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
        check_number("the range check ran to its end", 0, status);
    check_text("max_brightness is the driver's again", "7", text_of(BACKLIGHT "/max_brightness"));
}

static void check_backlight(void) {
    static const struct {
        uint32_t level;
        const char* raw;
    } levels[] = {{0, "0"}, {1, "1"}, {128, "4"}, {255, "7"}};
    char what[text_size];
    size_t i;

    for (i = 0; i < sizeof levels / sizeof levels[0]; ++i) {
        uint32_t level = 1000;
        int result = backlight_set(0, levels[i].level);

        snprintf(what, sizeof what, "backlight_set(0, %u) is 0", (unsigned)levels[i].level);
        check_number(what, 0, result);
        snprintf(what, sizeof what, "the driver has brightness %s", levels[i].raw);
        check_text(what, levels[i].raw, text_of(BACKLIGHT "/brightness"));
        result = backlight_get(0, &level);
        check_number("backlight_get is 0", 0, result);
        check_number("it reads the same level", (long)levels[i].level, (long)level);
    }
    REFUSED(-1, "backlight_set failed: backlight brightness out of range\n", backlight_set(0, 256));
    check_text("the driver kept its brightness", "7", text_of(BACKLIGHT "/brightness"));
}

static void check_display(void) {
    /* Blanking stops the pixel clock: the one trace that this driver leaves. */
    const char* clock_users = "/sys/kernel/debug/clk/clcd-clock/clk_enable_count";
    bool on = true;
    long lit = strtol(text_of(clock_users), NULL, 10);

    ACCEPTED(display_set(0, 0));
    check_number("the pixel clock is off", lit - 1, strtol(text_of(clock_users), NULL, 10));
    ACCEPTED(display_set(0, 1));
    check_number("the pixel clock is on", lit, strtol(text_of(clock_users), NULL, 10));

    /* This kernel's blank attribute reads as empty: no state can be had. */
    check_text("blank reads as empty", "", text_of("/sys/class/graphics/fb0/blank"));
    REFUSED(-1, "display_get failed: basic_ios::clear: iostream error\n", display_get(0, &on));
}

/* HAZARD: an error between enable and disable resets the board. */
static void check_watchdog(void) {
    REFUSED(-22, "watchdog_refresh failed: Invalid argument\n", watchdog_refresh());
    REFUSED(-22, "watchdog_enable failed: Invalid argument\n", watchdog_enable(-1));
    check_file("the watchdog is not armed", "inactive", WATCHDOG "/state");

    ACCEPTED(watchdog_enable(30));
    check_file("the watchdog is armed", "active", WATCHDOG "/state");
    check_file("its timeout is 30 s", "30", WATCHDOG "/timeout");
    ACCEPTED(watchdog_refresh());
    ACCEPTED(watchdog_enable(20));
    check_file("the watchdog is armed again", "active", WATCHDOG "/state");
    check_file("its timeout is 20 s", "20", WATCHDOG "/timeout");

    /* HAZARD of the library's header: a timeout that the driver refuses leaves the watchdog armed. */
    REFUSED(-22, "watchdog_enable failed: Invalid argument\n", watchdog_enable(0));
    check_file("it is still armed", "active", WATCHDOG "/state");

    /* Short, so that the wait below outlasts it. */
    ACCEPTED(watchdog_enable(3));
    ACCEPTED(watchdog_disable());
    check_file("the watchdog is disarmed", "inactive", WATCHDOG "/state");
    REFUSED(-22, "watchdog_disable failed: Invalid argument\n", watchdog_disable());
    sleep(5);
    check_file("after its last timeout it is disarmed, and the board goes on", "inactive", WATCHDOG "/state");
}

/*
 * HAZARD: without pm_test this board sleeps for ever. With it the kernel
 * suspends its devices, waits 5 s and resumes.
 */
static void check_suspend(void) {
    long succeeded, refused;
    double start, elapsed;
    char text[text_size];

    if (!put("/sys/power/pm_test", "devices") || strstr(text_of("/sys/power/pm_test"), "[devices]") == NULL) {
        check(false, "this kernel can test suspend", text_of("/sys/power/pm_test"));
        return;
    }
    succeeded = strtol(text_of(SUSPEND_STATS "/success"), NULL, 10);
    refused = strtol(text_of(SUSPEND_STATS "/fail"), NULL, 10);
    start = now();
    ACCEPTED(power_suspend());
    elapsed = now() - start;
    snprintf(text, sizeof text, "%.1f s", elapsed);
    check(elapsed >= 4.5, "it returned after the kernel's 5 s", text);
    check_number("the kernel counts one more suspend", succeeded + 1,
                 strtol(text_of(SUSPEND_STATS "/success"), NULL, 10));
    check_number("and no failed one", refused, strtol(text_of(SUSPEND_STATS "/fail"), NULL, 10));
    put("/sys/power/pm_test", "none");
    check(strstr(text_of("/sys/power/pm_test"), "[none]") != NULL, "pm_test is none again",
          text_of("/sys/power/pm_test"));
}

/*
 * HAZARD: the board sleeps until its power key is pressed, which tests/board/run
 * does when it reads the first line below.
 */
static void check_wake(void) {
    long succeeded = strtol(text_of(SUSPEND_STATS "/success"), NULL, 10);
    double start = now();
    char text[text_size];

    if (strstr(text_of("/sys/power/mem_sleep"), "[s2idle]") == NULL) {
        check(false, "this kernel sleeps lightly", text_of("/sys/power/mem_sleep"));
        return;
    }
    printf("velmor-board: asleep\n");
    ACCEPTED(power_suspend());
    printf("velmor-board: awake\n");
    snprintf(text, sizeof text, "%.1f s", now() - start);
    /* The key is pressed 3 s after the line above, or later. */
    check(now() - start >= 2, "it returned when the power key was pressed", text);
    check_number("the kernel counts one more suspend", succeeded + 1,
                 strtol(text_of(SUSPEND_STATS "/success"), NULL, 10));
}

static void check_pwm(void) {
    io_config_t config = {25, 2000};
    io_value_t value = -1;

    ACCEPTED(io_config_set(0, &config));
    check_file("the period in ns", "500000", "/sys/devices/platform/mxc_pwm.1/period");
    check_file("the duty in ns", "125000", "/sys/devices/platform/mxc_pwm.1/duty");
    config.duty = config.frequency = -1;
    ACCEPTED(io_config_get(0, &config));
    check(config.duty == 25 && config.frequency == 2000, "it reads the same programme", "another");
    ACCEPTED(io_set(0, 1));
    check_file("the channel runs", "1", "/sys/devices/platform/mxc_pwm.1/status");
    ACCEPTED(io_get(0, &value));
    check_number("it reads as running", 1, value);
}

static void check_attribute(int io, const char* path) {
    io_value_t value = -1;

    ACCEPTED(io_set(io, 0));
    check_file("the attribute is off", "0", path);
    ACCEPTED(io_set(io, 1));
    check_file("the attribute is on", "1", path);
    ACCEPTED(io_get(io, &value));
    check_number("it reads the same level", 1, value);
}

static void check_thermal(void) {
    thermal_state_t state = {0, 0, 0, 0, 0};

    interface("/sys/class/thermal/thermal_zone0/temp", "thermal_state_get");
    ACCEPTED(thermal_state_get(0, &state));
    check_number("the temperature", 45000, state.temp);
    interface("/sys/class/thermal/thermal_zone0/trip_point_0_temp", "thermal_state_get");
    check(state.active == 60000 && state.hot == 75000 && state.very_hot == 85000 && state.critical == 95000,
          "the four trip points", "others");
}

static void check_platform(void) {
    platform_info_t info;
    uint32_t number = 0;
    bool present = false;

    memset(&info, 0, sizeof info);
    interface("/proc/platform/serial_number", "platform_info_get");
    ACCEPTED(platform_info_get(&info, sizeof info));
    check_text("the serial number", "VB0012C0FFEE", info.serial_number);
    interface("/proc/platform/os_version_major", "platform_info_get");
    check(info.os_version_major == 2 && info.os_version_minor == 1 && info.os_version_revision == 3 &&
              info.os_version_status == 'R' && info.os_version_build == 17 && info.os_date_year == 2013,
          "the kernel's version", "another");
    interface("/etc/fs_version", "platform_info_get");
    check(info.fs_version_major == 2 && info.fs_version_build == 17 && info.fs_version_development == 1 &&
              info.fs_date_day == 17 && info.fs_date_month == 4 && info.fs_date_year == 2013,
          "the file system's version", "another");
    interface("/proc/platform/pht", "platform_mid_get platform_can_unique_num_get es_present");
    ACCEPTED(platform_mid_get(&number));
    check_number("the model", 0x4d02, (long)number);
    ACCEPTED(platform_can_unique_num_get(&number));
    check_number("the CAN number", 0x012345, (long)number);
    ACCEPTED(es_present(&present));
    check(present, "an echosounder is fitted", "none");
}

static void check_absent(void) {
    attitude_t attitude;
    bool has = false;

    REFUSED(-95, "attitude_get failed: Operation not supported\n", attitude_get(&attitude));
    REFUSED(-95, "serial_alt_func_has failed: Operation not supported\n", serial_alt_func_has(0, 0, &has));
    REFUSED(-22, "", backlight_get(0, NULL));
}

int main(void) {
    begin_checks(on_emulated_board(), "not the emulated board");

    interface(BACKLIGHT "/brightness", "backlight_set backlight_get");
    /* First, while the library of this process has not started. */
    check_backlight_range();
    check_backlight();
    interface(BLANK, "display_set display_get");
    check_display();
    interface("/dev/watchdog", "watchdog_enable watchdog_refresh watchdog_disable");
    check_watchdog();
    interface("/sys/power/state", "power_suspend");
    check_suspend();
    check_wake();
    interface("/sys/devices/platform/mxc_pwm.1/period", "io_config_set io_config_get io_set io_get");
    check_pwm();
    interface("/sys/devices/platform/gps.0/enable", "io_set io_get");
    check_attribute(9, "/sys/devices/platform/gps.0/enable");
    interface("/sys/devices/platform/echosounder.0/reset", "io_set io_get");
    check_attribute(11, "/sys/devices/platform/echosounder.0/reset");
    check_thermal();
    check_platform();
    interface("no such hardware", "attitude_get serial_alt_func_has backlight_get");
    check_absent();

    return end_checks();
}
