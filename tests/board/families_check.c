/* SPDX-License-Identifier: MIT */

/*
 * Checks the families that the device's own board lacks against real kernel
 * drivers, with the library of the board that has them all
 * (tests/boards/all_families.cpp): for the emulated board only.
 */

#include "check.h"
#include "uinput.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <velmor.h>

#define GPIO "/sys/class/gpio"
#define KEYS "/sys/devices/platform/gpio-keys"

/* ---- Input axes ---- */

/* The node is gone when the board tells the others. */
static void tell_source(const char* node) {
    char path[64];

    snprintf(path, sizeof path, "/sys/class/input/%s/device/name", node);
    printf("velmor-board: source /dev/input/%s | driver evdev (uinput device \"%s\")\n", node, text_of(path));
}

static void check_motion(int32_t speed, bool reverse) {
    car_motion_t motion = {1, !reverse};

    ACCEPTED(car_motion_get(&motion));
    check_number("the speed", speed, motion.speed);
    check_number("the direction", reverse, motion.reverse);
}

static void check_attitude(int32_t x, int32_t y, int32_t z) {
    attitude_t attitude = {1, 1, 1};
    char text[text_size];

    ACCEPTED(attitude_get(&attitude));
    snprintf(text, sizeof text, "%d %d %d", (int)attitude.x, (int)attitude.y, (int)attitude.z);
    check(attitude.x == x && attitude.y == y && attitude.z == z, "the three axes", text);
}

/* HAZARD: before any other input device, since the board names event0 and event1. */
static void inputs(void) {
    static const int position[] = {ABS_X, ABS_Y, ABS_Z};
    static const int movement[] = {ABS_X, ABS_RX};
    attitude_t attitude;
    int attitude_fd, motion_fd;

    interface("/dev/input/event0", "attitude_get");
    REFUSED(-2, "attitude_get failed: No such file or directory\n", attitude_get(&attitude));
    attitude_fd = make_input("attitude", position, 3);
    tell_source("event0");
    check_attitude(0, 0, 0);
    move_axis(attitude_fd, ABS_X, -512);
    move_axis(attitude_fd, ABS_Y, 7);
    move_axis(attitude_fd, ABS_Z, 1024);
    check_attitude(-512, 7, 1024);
    move_axis(attitude_fd, ABS_Y, -2048);
    check_attitude(-512, -2048, 1024);

    interface("/dev/input/event1", "car_motion_get");
    motion_fd = make_input("motion", movement, 2);
    tell_source("event1");
    check_motion(0, false);
    move_axis(motion_fd, ABS_X, 88);
    move_axis(motion_fd, ABS_RX, -1);
    check_motion(88, true);
    move_axis(motion_fd, ABS_RX, 1);
    check_motion(88, false);

    /* The node that was opened has lost its device. */
    interface("/dev/input/event0", "attitude_get");
    close(attitude_fd);
    REFUSED(-19, "attitude_get failed: No such device\n", attitude_get(&attitude));
    close(motion_fd);
}

/* ---- GPIO lines ---- */

/* Whether the kernel has the line as an output of this level. The line is free before and after. */
static void check_line(const char* what, int pin, int level) {
    char number[16], path[64], text[text_size], direction[16], value[16];

    snprintf(number, sizeof number, "%d", pin);
    snprintf(path, sizeof path, GPIO "/gpio%d", pin);
    if (exists(path) || !put(GPIO "/export", number)) {
        check(false, what, "a line that is not free");
        return;
    }
    snprintf(path, sizeof path, GPIO "/gpio%d/direction", pin);
    snprintf(direction, sizeof direction, "%.15s", text_of(path));
    snprintf(path, sizeof path, GPIO "/gpio%d/value", pin);
    snprintf(value, sizeof value, "%.15s", text_of(path));
    put(GPIO "/unexport", number);
    snprintf(text, sizeof text, "%s %s", direction, value);
    check(strcmp(direction, "out") == 0 && atoi(value) == level && value[1] == '\0', what, text);
}

/* tests/board/run drives the pin when it reads the line. */
static void check_driven(int level) {
    io_value_t value = -1;
    double limit = now() + 30;
    int result;

    printf("velmor-board: drive gpio2 6 %d\n", level);
    do {
        result = io_get(2, &value);
        if (result == 0 && value == level) break;
        usleep(100000);
    } while (result == 0 && now() < limit);
    check_number("io_get(2, &value) is 0", 0, result);
    check_number(level ? "the input reads high" : "the input reads low", level, value);
    check(!exists(GPIO "/gpio38"), "the line was given back", "a line that is exported");
}

static void lines(void) {
    io_value_t value = -1;

    interface(GPIO "/export", "io_set io_get wifi_antenna_set bluetooth_antenna_set serial_mux");
    ACCEPTED(io_set(1, 1));
    check_line("line 37 is an output and high", 37, 1);
    ACCEPTED(io_set(1, 0));
    check_line("line 37 is an output and low", 37, 0);
    REFUSED(-1, "io_get failed: GPIO direction not valid\n", io_get(1, &value));
    REFUSED(-1, "io_set failed: GPIO direction not valid\n", io_set(2, 1));
    check_driven(1);
    check_driven(0);

    check_put("a key's line is not to be had", "EBUSY", GPIO "/export", "34");
    check_put("nor one that is not there", "EINVAL", GPIO "/export", "9999");
    check_put("somebody else takes line 37", "good", GPIO "/export", "37");
    REFUSED(-1, "io_set failed: basic_ios::clear: iostream error\n", io_set(1, 1));
    check_file("it is left to them", "0", GPIO "/gpio37/value");
    put(GPIO "/unexport", "37");
    ACCEPTED(io_set(1, 1));
    check_line("and can be set when it is free again", 37, 1);

    ACCEPTED(wifi_antenna_set(1));
    check_line("the Wi-Fi antenna's line is high", 40, 1);
    ACCEPTED(wifi_antenna_set(0));
    check_line("the Wi-Fi antenna's line is low", 40, 0);
    ACCEPTED(bluetooth_antenna_set(1));
    check_line("the Bluetooth antenna's line is high", 41, 1);
    ACCEPTED(bluetooth_antenna_set(0));
    check_line("the Bluetooth antenna's line is low", 41, 0);
    ACCEPTED(serial_mux(0, 1));
    check_line("the multiplexer's first line is high", 42, 1);
    check_line("the multiplexer's second line is low", 43, 0);
    ACCEPTED(serial_mux(0, 2));
    check_line("the multiplexer's first line stays high", 42, 1);
    check_line("the multiplexer's second line is high", 43, 1);
    REFUSED(-1, "serial_mux failed: Unsupported port\n", serial_mux(0, 3));
}

/* ---- gpio-keys lists ---- */

static void check_has_key(bool expected) {
    bool has = !expected;

    ACCEPTED(serial_alt_func_has(0, SERIAL_ALT_FUNC_KEY, &has));
    check_number(expected ? "port 0 has its key" : "a key in the middle of a range is not seen", expected, has);
}

/* The codes 30 to 32 of another keyboard of the same driver. */
static void key_within_range(void) {
    if (unshare(CLONE_NEWNS) != 0 || mount(NULL, "/", NULL, MS_REC | MS_PRIVATE, NULL) != 0 ||
        mount("/sys/devices/platform/keys-in-range/keys", KEYS "/keys", NULL, MS_BIND, NULL) != 0) {
        check(false, "another keyboard's list", "a refusal");
        return;
    }
    check_file("the driver prints a range", "30-32", KEYS "/keys");
    check_has_key(false);
    REFUSED(-22, "serial_alt_func_set failed: Invalid argument\n", serial_alt_func_set(0, SERIAL_ALT_FUNC_SERIAL));
    check_file("no key was disabled", "", KEYS "/disabled_keys");
}

static void keys(void) {
    bool has = true;
    int status = -1;
    pid_t child;

    interface(KEYS "/disabled_keys", "serial_alt_func_has serial_alt_func_set");
    check_file("the driver's keys", "31-33,114-116", KEYS "/keys");
    check_has_key(true);
    ACCEPTED(serial_alt_func_has(0, 2, &has));
    check(!has, "port 0 has no third function", "one");
    check_file("no key is disabled", "", KEYS "/disabled_keys");
    ACCEPTED(serial_alt_func_set(0, SERIAL_ALT_FUNC_SERIAL));
    check_file("its key is disabled", "31", KEYS "/disabled_keys");
    ACCEPTED(serial_alt_func_set(0, SERIAL_ALT_FUNC_SERIAL));
    check_file("once", "31", KEYS "/disabled_keys");

    /* The list of none is written as key 0, which this driver does not have. */
    REFUSED(-1, "serial_alt_func_set failed: basic_ios::clear: iostream error\n",
            serial_alt_func_set(0, SERIAL_ALT_FUNC_KEY));
    check_file("its key stays disabled", "31", KEYS "/disabled_keys");

    put(KEYS "/disabled_keys", "31,116");
    ACCEPTED(serial_alt_func_set(0, SERIAL_ALT_FUNC_KEY));
    check_file("its key is enabled, another stays disabled", "116", KEYS "/disabled_keys");
    ACCEPTED(serial_alt_func_set(0, SERIAL_ALT_FUNC_SERIAL));
    check_file("both are disabled", "31,116", KEYS "/disabled_keys");

    /* HAZARD of the library's header: of a range only the first code is kept. */
    put(KEYS "/disabled_keys", "31-33,116");
    check_file("the driver prints a range", "31-33,116", KEYS "/disabled_keys");
    ACCEPTED(serial_alt_func_set(0, SERIAL_ALT_FUNC_KEY));
    check_file("the range's other keys are enabled with it", "116", KEYS "/disabled_keys");
    put(KEYS "/disabled_keys", "\n");
    check_file("no key is disabled", "", KEYS "/disabled_keys");
    REFUSED(-22, "serial_alt_func_set failed: Invalid argument\n", serial_alt_func_set(1, SERIAL_ALT_FUNC_KEY));

    child = fork();
    if (child == 0) {
        key_within_range();
        _exit(0);
    }
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
        check_number("the check of a range ran to its end", 0, status);
}

/* ---- What only the vendor's kernel has ---- */

static void plain_files(void) {
    led_color_t color = {255, 0, 16};
    mrfi_enum_ctx* context = NULL;
    mrfi_connection_t connection;
    mrfi_device_t device;
    mrfi_addr_t address = {{0, 0, 0, 0}};
    uint32_t level = 1000;
    int number = 0;

    interface("/sys/class/leds/keypad/color", "led_color_set led_color_get");
    ACCEPTED(led_color_set(0, &color));
    color.red = color.green = color.blue = -1;
    ACCEPTED(led_color_get(0, &color));
    check(color.red == 255 && color.green == 0 && color.blue == 16, "it reads the same colour", "another");

    interface("/sys/devices/platform/mxc_pwm.2/period", "backlight_set backlight_get");
    ACCEPTED(backlight_set(1, 128));
    check_file("half of the period", "500000", "/sys/devices/platform/mxc_pwm.2/duty");
    ACCEPTED(backlight_get(1, &level));
    check_number("level 128 reads as 127", 127, (long)level);

    interface("/sys/class/mrfi/mrfi0/connections", "mrfi_rssi_get mrfi_address_get mrfi_*_list_open, _read, _close");
    ACCEPTED(mrfi_rssi_get(0, &number));
    check_number("the signal strength", -57, number);
    ACCEPTED(mrfi_address_get(0, &address));
    ACCEPTED(mrfi_connection_list_open(0, &context));
    check_number("one connection", 1, mrfi_connection_list_read(context, &connection));
    check_number("and no more", 0, mrfi_connection_list_read(context, &connection));
    ACCEPTED(mrfi_connection_list_close(context));
    ACCEPTED(mrfi_device_list_open(0, &context));
    check_number("one device", 1, mrfi_device_list_read(context, &device));
    check_text("its name", "sonar", device.name);
    ACCEPTED(mrfi_device_list_close(context));
}

int main(int count, char** words) {
    begin_checks(on_emulated_board(), "not the emulated board");
    if (count == 2 && strcmp(words[1], "inputs") == 0) {
        inputs();
    } else {
        lines();
        keys();
        plain_files();
    }
    return end_checks();
}
