// SPDX-License-Identifier: MIT
// Checks the families that the device's own board lacks against real kernel drivers, with the library of the board that
// has them all (tests/boards/all_families.cpp): for the emulated board only.

#include <unistd.h>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "board/calls.h"
#include "board/uinput.h"

using namespace board;
using namespace testing_support;

namespace {

// ---- Input axes ----------------------------------------------------------------------------------------------------

/** The device's node is gone when init prints the sources of the others. */
void print_source(const std::string& node) {
    const std::string name = File{"/sys/class/input/" + node + "/device/name"}.text();
    std::printf("velmor-board: source /dev/input/%s | driver evdev (uinput device \"%s\")\n", node.c_str(),
                name.c_str());
}

void expect_attitude(const std::string& axes) {
    expect("attitude_get()", call(attitude_get), succeeds(axes));
}

void expect_motion(const std::string& motion) {
    expect("car_motion_get()", call(car_motion_get), succeeds(motion));
}

/** HAZARD: before any other input device, since the library's board uses event0 and event1. */
void check_inputs() {
    interface("/dev/input/event0", "attitude_get");
    expect("attitude_get()", call(attitude_get), fails_with(ENOENT, untouched), "No such file or directory");
    const int position = make_input("attitude", {ABS_X, ABS_Y, ABS_Z});
    print_source("event0");
    expect_attitude("0 0 0");
    move_axis(position, ABS_X, -512);
    move_axis(position, ABS_Y, 7);
    move_axis(position, ABS_Z, 1024);
    expect_attitude("-512 7 1024");
    move_axis(position, ABS_Y, -2048);
    expect_attitude("-512 -2048 1024");

    interface("/dev/input/event1", "car_motion_get");
    const int motion = make_input("motion", {ABS_X, ABS_RX});
    print_source("event1");
    expect_motion("0 forwards");
    move_axis(motion, ABS_X, 88);
    move_axis(motion, ABS_RX, -1);
    expect_motion("88 backwards");
    move_axis(motion, ABS_RX, 1);
    expect_motion("88 forwards");

    // The library has the node open when its device goes.
    interface("/dev/input/event0", "attitude_get");
    close(position);
    expect("attitude_get()", call(attitude_get), fails_with(ENODEV, untouched), "No such device");
    close(motion);
}

// ---- GPIO lines ----------------------------------------------------------------------------------------------------

const std::string gpio = "/sys/class/gpio/";
const File export_file = {gpio + "export"};
const File unexport_file = {gpio + "unexport"};

/** Check that a line is not exported, and that the kernel has it as an output of this level. */
void check_output(int line, const std::string& level) {
    const std::string number = std::to_string(line);
    export_file.accepts(number);
    File{gpio + "gpio" + number + "/direction"}.reads("out");
    File{gpio + "gpio" + number + "/value"}.reads(level);
    unexport_file.accepts(number);
}

void expect_output(const std::string& text, const Scenario& call, int line, const std::string& level) {
    expect(text, call);
    check_output(line, level);
}

/** tests/board/run drives the pin when it reads the line that this prints. */
void check_driven(int level) {
    std::printf("velmor-board: drive gpio2 6 %d\n", level);
    const std::string driven = "0: " + std::to_string(level);
    const double limit = now() + 30;
    std::string result;
    do {
        usleep(100000);
        result = call(io_get, 2)();
    } while (result != driven && result.starts_with("0: ") && now() < limit);
    check("io_get(2)", driven, result);
    check("line 38 was given back", "yes", std::filesystem::exists(gpio + "gpio38") ? "no" : "yes");
}

void check_lines() {
    interface(export_file.path, "io_set io_get wifi_antenna_set bluetooth_antenna_set serial_mux");
    expect_output("io_set(1, 1)", call(io_set, 1, 1), 37, "1");
    expect_output("io_set(1, 0)", call(io_set, 1, 0), 37, "0");
    expect("io_get(1)", call(io_get, 1), refuses(untouched), "GPIO direction not valid");
    expect("io_set(2, 1)", call(io_set, 2, 1), refuses(), "GPIO direction not valid");
    check_driven(1);
    check_driven(0);

    export_file.rejects({"34"}, "EBUSY");     // a key's
    export_file.rejects({"9999"}, "EINVAL");  // there is none
    export_file.accepts("37");
    expect("io_set(1, 1)", call(io_set, 1, 1), file_fails_with(EBUSY), stream_failure);
    File{gpio + "gpio37/value"}.reads("0");
    unexport_file.accepts("37");
    expect_output("io_set(1, 1)", call(io_set, 1, 1), 37, "1");

    expect_output("wifi_antenna_set(1)", call(wifi_antenna_set, 1), 40, "1");
    expect_output("wifi_antenna_set(0)", call(wifi_antenna_set, 0), 40, "0");
    expect_output("bluetooth_antenna_set(1)", call(bluetooth_antenna_set, 1), 41, "1");
    expect_output("bluetooth_antenna_set(0)", call(bluetooth_antenna_set, 0), 41, "0");
    expect_output("serial_mux(0, 1)", call(serial_mux, 0, 1), 42, "1");
    check_output(43, "0");
    expect_output("serial_mux(0, 2)", call(serial_mux, 0, 2), 42, "1");
    check_output(43, "1");
    expect("serial_mux(0, 3)", call(serial_mux, 0, 3), refuses(), "Unsupported port");
}

// ---- gpio-keys lists -----------------------------------------------------------------------------------------------

const std::string keys_driver = "/sys/devices/platform/gpio-keys/";
const File keys = {keys_driver + "keys"};
const File disabled_keys = {keys_driver + "disabled_keys"};

/** Select what port 0 is for: its serial line or, with key 31, its key. */
void expect_select(int function, const CallResult& result = succeeds(), const std::string& cause = "") {
    const std::string text = "serial_alt_func_set(0, " + std::to_string(function) + ")";
    expect(text, call(serial_alt_func_set, 0, function), result, cause);
}

void expect_has(int function, const std::string& has) {
    const std::string text = "serial_alt_func_has(0, " + std::to_string(function) + ")";
    expect(text, call(serial_alt_func_has, 0, function), succeeds(has));
}

void check_keys() {
    interface(disabled_keys.path, "serial_alt_func_has serial_alt_func_set");
    keys.reads("31-33,114-116");
    expect_has(SERIAL_ALT_FUNC_KEY, "true");
    expect_has(2, "false");
    disabled_keys.reads("");
    for (int time = 1; time <= 2; ++time) {
        expect_select(SERIAL_ALT_FUNC_SERIAL);
        disabled_keys.reads("31");
    }

    // The list of none is written as key 0, which this driver does not have.
    expect_select(SERIAL_ALT_FUNC_KEY, file_fails_with(EINVAL), stream_failure);
    disabled_keys.reads("31");

    disabled_keys.accepts("31,116");
    expect_select(SERIAL_ALT_FUNC_KEY);
    disabled_keys.reads("116");
    expect_select(SERIAL_ALT_FUNC_SERIAL);
    disabled_keys.reads("31,116");

    // The library takes only the first key of a range, and so enables the others with it.
    disabled_keys.accepts("31-33,116").reads("31-33,116");
    expect_select(SERIAL_ALT_FUNC_KEY);
    disabled_keys.reads("116");
    disabled_keys.accepts("\n").reads("");
    expect("serial_alt_func_set(1, 1)", call(serial_alt_func_set, 1, SERIAL_ALT_FUNC_KEY), fails_with(EINVAL),
           "Invalid argument");

    // Another keyboard of the same driver: key 31 is inside a range, where the library does not see it.
    with_mount("/sys/devices/platform/keys-in-range/keys", keys.path, [] {
        keys.reads("30-32");
        expect_has(SERIAL_ALT_FUNC_KEY, "false");
        expect_select(SERIAL_ALT_FUNC_SERIAL, fails_with(EINVAL), "Invalid argument");
        disabled_keys.reads("");
    });
}

// ---- What only the vendor's kernel has -----------------------------------------------------------------------------

void check_plain_files() {
    interface("/sys/class/leds/keypad/color", "led_color_set led_color_get");
    expect("led_color_set(0)", call(led_color_set, 0, led_color_t{255, 0, 16}));
    expect("led_color_get(0)", call(led_color_get, 0), succeeds("255 0 16"));

    interface("/sys/devices/platform/mxc_pwm.2/period", "backlight_set backlight_get");
    expect("backlight_set(1, 128)", call(backlight_set, 1, 128U));
    File{"/sys/devices/platform/mxc_pwm.2/duty"}.reads("500000");
    expect("backlight_get(1)", call(backlight_get, 1), succeeds("127"));

    interface("/sys/class/mrfi/mrfi0/connections", "mrfi_rssi_get mrfi_address_get mrfi_*_list_open, _read, _close");
    expect("mrfi_rssi_get(0)", call(mrfi_rssi_get, 0), succeeds("-57"));
    expect("mrfi_address_get(0)", call(mrfi_address_get, 0), succeeds("4d 3c 2b 1a "));
    mrfi_enum_ctx* list = nullptr;
    expect("mrfi_connection_list_open(0)", call(mrfi_connection_list_open, 0, &list));
    // 22: the reserved bits are not written.
    expect("mrfi_connection_list_read()", call(mrfi_connection_list_read, list),
           CallResult{.result = 1, .value = "31 2 196 10 22 1 0 34 12 "});
    expect("mrfi_connection_list_read()", call(mrfi_connection_list_read, list), succeeds(untouched));
    expect("mrfi_connection_list_close()", call(mrfi_connection_list_close, list));
    expect("mrfi_device_list_open(0)", call(mrfi_device_list_open, 0, &list));
    expect("mrfi_device_list_read()", call(mrfi_device_list_read, list),
           CallResult{.result = 1, .value = "3 7 sonar 1 0 34 12 "});
    expect("mrfi_device_list_close()", call(mrfi_device_list_close, list));
}

}  // namespace

int main(int count, char** words) {
    begin_checks(on_emulated_board(), "not the emulated board");
    if (count == 2 && std::string(words[1]) == "inputs") {
        check_inputs();
    } else {
        check_lines();
        check_keys();
        check_plain_files();
    }
    return end_checks();
}
