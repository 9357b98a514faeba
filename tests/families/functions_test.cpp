// SPDX-License-Identifier: MIT
// Every exported function on the board that has every family. These tests add to those of the device's own board, in
// tests/system, the families that the device lacks, the acts of each call, and the state in which a call leaves the
// hardware: also if an act fails, if the driver refuses, and on bad input.

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <optional>

#include "families/families_test.h"
#include "support/exported_functions.h"
#include "support/null_calls.h"

using testing::ElementsAreArray;
using namespace families;
using namespace testing_support;

namespace {

// ---- A row of the table --------------------------------------------------------------------------------------------

/** One attribute opened, read or written, and closed. */
struct Step {
    std::string path;
    std::string bytes;               // to write; empty for a read
    std::vector<Step> cleanup = {};  // at most one: what the library still does if this fails

    bool is_read() const { return bytes.empty(); }
    Acts acts() const { return is_read() ? read_acts(path) : write_acts(path, bytes); }
};

using Steps = std::vector<Step>;

/** A call, its result and its effect on the hardware. */
struct Row {
    std::string function;
    std::string what;
    Scenario call;
    CallResult result = succeeds();
    std::string before = {};
    std::string afterwards = {};
    std::optional<Steps> steps = {};  // if absent, the acts are not compared
    std::string cause = {};           // of the failure line
    std::string fault = {};           // of the driver

    Kind kind() const { return cause.empty() && fault.empty() ? Kind::good : Kind::bad_input; }
    std::string error_text() const { return cause.empty() ? "" : failed(function, cause); }
};

/** What a row says. Unless its parts say otherwise, the call succeeds, returns no value and prints nothing. */
using Part = std::function<void(Row&)>;

Part given(const std::string& values) {
    return [=](Row& row) { row.before = values; };
}
Part leaves(const std::string& values) {
    return [=](Row& row) { row.afterwards = values; };
}
Part keeps(const std::string& values) {
    return [=](Row& row) { row.before = row.afterwards = values; };
}
Part does(const Steps& steps) {
    return [=](Row& row) {
        if (!row.steps) row.steps.emplace();
        row.steps->insert(row.steps->end(), steps.begin(), steps.end());
    };
}
Part does_nothing() {
    return does({});
}
Part reads(const std::string& path) {
    return does({{path, ""}});
}
Part writes(const std::string& path, const std::string& bytes) {
    return does({{path, bytes}});
}
Part gives(const std::string& value) {
    return [=](Row& row) { row.result = succeeds(value); };
}
Part fails(const CallResult& result, const std::string& cause) {
    return [=](Row& row) { row.result = result, row.cause = cause; };
}
Part is_invalid() {
    return fails(fails_with(EINVAL), "Invalid argument");
}
/** The library refuses the call and touches no file. */
Part is_refused(const std::string& cause, const CallResult& result = refuses()) {
    return [=](Row& row) { does_nothing()(row), fails(result, cause)(row); };
}
/** The driver fails this act, such as "PATH:open". */
Part meets_fault(const std::string& act, int error) {
    return [=](Row& row) {
        row.fault = act + ":" + strerrorname_np(error);
        fails(file_fails_with(error), stream_failure)(row);
    };
}

template <typename... Parts>
Row row(const std::string& function, const std::string& what, const Scenario& call, const Parts&... parts) {
    Row row = {.function = function, .what = what, .call = call};
    (..., parts(row));
    return row;
}

// ---- The hardware --------------------------------------------------------------------------------------------------

const std::string gpio = "/sys/class/gpio/";
const std::string brightness = "/sys/class/backlight/pwm-backlight.0/brightness";
const std::string pwm1 = "/sys/devices/platform/mxc_pwm.1/";
const std::string pwm2 = "/sys/devices/platform/mxc_pwm.2/";
const std::string gps_enable = "/sys/devices/platform/gps.0/enable";
const std::string echosounder_reset = "/sys/devices/platform/echosounder.0/reset";
const std::string color_file = "/sys/class/leds/keypad/color";
const std::string keys = "/sys/devices/platform/gpio-keys/keys";
const std::string disabled_keys = "/sys/devices/platform/gpio-keys/disabled_keys";

/** Exports a line, sets its direction, reads or sets its level, and unexports it, even if its level fails. */
Part uses_line(int pin, const std::string& direction, const std::string& level) {
    const std::string number = std::to_string(pin);
    const std::string attributes = gpio + "gpio" + number + "/";
    const Step unexport = {gpio + "unexport", number};
    return does({{gpio + "export", number},
                 {attributes + "direction", direction},
                 {attributes + "value", level, {unexport}},
                 unexport});
}
Part sets_line(int pin, const std::string& level) {
    return uses_line(pin, "out", level);
}
Part reads_line(int pin) {
    return uses_line(pin, "in", "");
}

std::string blank(int display) {
    return "/sys/class/graphics/fb" + std::to_string(display) + "/blank";
}

/** The zone's temperature, then those of its trip points in this order. */
Part reads_zone(int index, const std::vector<int>& trips) {
    const std::string directory = "/sys/class/thermal/thermal_zone" + std::to_string(index) + "/";
    Steps steps = {{directory + "temp", ""}};
    for (const int trip : trips) steps.push_back({directory + "trip_point_" + std::to_string(trip) + "_temp", ""});
    return does(steps);
}

std::string mrfi(int index, const std::string& attribute) {
    return "/sys/class/mrfi/mrfi" + std::to_string(index) + "/" + attribute;
}

/** The first PWM's duty is 0 while its period changes. */
Part sets_period(const std::string& period) {
    return does({{pwm1 + "period", ""},
                 {pwm1 + "duty", ""},
                 {pwm1 + "period", ""},
                 {pwm1 + "duty", "0"},
                 {pwm1 + "period", period}});
}
Part sets_duty(const std::string& duty) {
    return does({{pwm1 + "period", ""}, {pwm1 + "duty", duty}});
}

constexpr mrfi_addr_t peer = {{0x01, 0x00, 0xab, 0x00}};
constexpr mrfi_addr_t known_peer = {{0x02, 0x00, 0x34, 0x12}};
constexpr mrfi_addr_t highest = {{0xff, 0xff, 0xff, 0xff}};
constexpr mrfi_addr_t zero = {{0, 0, 0, 0}};
const std::string two_connections = "0x12340001 1f 2 -60 1 0;0x12340002 a 3 -71 0 1";
const std::string two_connections_shown = "0x12340001 1f 2 -60 1 0\n0x12340002 a 3 -71 0 1";

constexpr char no_brightness[] = "backlight brightness out of range";
constexpr char no_color[] = "color out of range";
constexpr char no_direction[] = "GPIO direction not valid";
constexpr char no_frequency[] = "PWM frequency out of range";
constexpr char no_port[] = "Unsupported port";

// ---- The table -----------------------------------------------------------------------------------------------------

std::vector<Row> lights() {
    const std::string dim = "backlight.brightness=7, pwm2.duty=100000, pwm2.status=0";
    const std::string dim_and_running = "backlight.brightness=7, pwm2.duty=100000, pwm2.status=1";
    const auto color = [](int red, int green, int blue) {
        return call(led_color_set, 0, led_color_t{red, green, blue});
    };
    return {
        row("backlight_set", "1", call(backlight_set, 0, 1U), writes(brightness, "1")),
        row("backlight_set", "128", call(backlight_set, 0, 128U), given(dim), writes(brightness, "4"),
            leaves("backlight.brightness=4, pwm2.duty=100000, pwm2.status=0")),
        row("backlight_set", "255", call(backlight_set, 0, 255U), writes(brightness, "7")),
        row("backlight_set", "0", call(backlight_set, 0, 0U), given(dim_and_running), writes(brightness, "0"),
            leaves("backlight.brightness=0, pwm2.duty=100000, pwm2.status=1")),
        row("backlight_set", "256", call(backlight_set, 0, 256U), keeps("backlight.brightness=7"),
            is_refused(no_brightness)),
        row("backlight_get", "level", call(backlight_get, 0), given("backlight.brightness=4"), gives("128"),
            reads(brightness)),
        row("backlight_set", "1_through_a_pwm", call(backlight_set, 1, 1U), reads(pwm2 + "period"),
            writes(pwm2 + "duty", "0"), writes(pwm2 + "status", "1")),
        row("backlight_set", "128_through_a_pwm", call(backlight_set, 1, 128U), given(dim), reads(pwm2 + "period"),
            writes(pwm2 + "duty", "500000"), writes(pwm2 + "status", "1"),
            leaves("backlight.brightness=7, pwm2.duty=500000, pwm2.status=1")),
        row("backlight_set", "255_through_a_pwm", call(backlight_set, 1, 255U), reads(pwm2 + "period"),
            writes(pwm2 + "duty", "1000000"), writes(pwm2 + "status", "1")),
        row("backlight_set", "0_through_a_pwm", call(backlight_set, 1, 0U), given(dim_and_running),
            writes(pwm2 + "status", "0"), leaves(dim)),
        row("backlight_set", "256_through_a_pwm", call(backlight_set, 1, 256U), keeps(dim), is_refused(no_brightness)),
        row("backlight_get", "level_of_a_running_pwm", call(backlight_get, 1),
            given("pwm2.period=1000000, pwm2.duty=500000, pwm2.status=1"), gives("127"), reads(pwm2 + "status"),
            reads(pwm2 + "period"), reads(pwm2 + "duty")),
        row("backlight_get", "level_of_a_stopped_pwm", call(backlight_get, 1), given("pwm2.duty=500000, pwm2.status=0"),
            gives("0"), reads(pwm2 + "status")),
        row("display_set", "on", call(display_set, 0, 1U), writes(blank(0), "0")),
        row("display_set", "second_on", call(display_set, 1, 1U), given("display.blank=1, display1.blank=1"),
            writes(blank(1), "0"), leaves("display.blank=1, display1.blank=0")),
        row("display_set", "off", call(display_set, 0, 0U), given("display.blank=0, display1.blank=0"),
            writes(blank(0), "1"), leaves("display.blank=1, display1.blank=0")),
        row("display_set", "second_off", call(display_set, 1, 0U), writes(blank(1), "1")),
        row("display_set", "neither_on_nor_off", call(display_set, 0, 2U), writes(blank(0), "3")),
        row("display_set", "refused_by_the_driver", call(display_set, 1, 0U), keeps("display1.blank=0"),
            meets_fault(blank(1) + ":write", EIO)),
        // The driver has already taken the value.
        row("display_set", "failing_close", call(display_set, 1, 0U), given("display1.blank=0"),
            meets_fault(blank(1) + ":close", EIO), leaves("display1.blank=1")),
        row("display_get", "on", call(display_get, 0), given("display.blank=0"), gives("true"), reads(blank(0))),
        row("display_get", "second_off", call(display_get, 1), given("display.blank=0, display1.blank=1"),
            gives("false"), reads(blank(1))),
        row("display_get", "deeper_blank_level", call(display_get, 0), given("display.blank=4, display1.blank=1"),
            gives("true"), reads(blank(0))),
        row("led_color_set", "color", color(255, 0, 16), given("keypad.color=1 2 3"), writes(color_file, "255 0 16"),
            leaves("keypad.color=255 0 16")),
        row("led_color_set", "red_too_low", color(-1, 0, 0), is_refused(no_color)),
        row("led_color_set", "red_too_high", color(256, 0, 0), is_refused(no_color)),
        row("led_color_set", "green_too_low", color(0, -1, 0), is_refused(no_color)),
        row("led_color_set", "green_too_high", color(0, 256, 0), keeps("keypad.color=1 2 3"), is_refused(no_color)),
        row("led_color_set", "blue_too_low", color(0, 0, -1), is_refused(no_color)),
        row("led_color_set", "blue_too_high", color(0, 0, 256), is_refused(no_color)),
        row("led_color_get", "color", call(led_color_get, 0), given("keypad.color=1 2 3"), gives("1 2 3"),
            reads(color_file)),
        row("led_color_get", "up_to_three_digits", call(led_color_get, 0), given("keypad.color=9 128 255"),
            gives("9 128 255")),
    };
}

std::vector<Row> lines() {
    const auto program = [](int duty, int frequency) { return call(io_config_set, 0, io_config_t{duty, frequency}); };
    return {
        row("io_set", "high", call(io_set, 1, 1), sets_line(37, "1"), leaves("gpio.37=1")),
        row("io_set", "low", call(io_set, 1, 0), sets_line(37, "0"), leaves("gpio.37=0")),
        row("io_set", "input", call(io_set, 2, 1), keeps("gpio.38=0"), is_refused(no_direction)),
        row("io_get", "high", call(io_get, 2), given("gpio.38=1"), gives("1"), reads_line(38)),
        row("io_get", "low", call(io_get, 2), given("gpio.38=0"), gives("0")),
        row("io_get", "output", call(io_get, 1), is_refused(no_direction, refuses(untouched))),
        row("io_set", "attribute", call(io_set, 9, 1), given("gps.enable=0"), writes(gps_enable, "1"),
            leaves("gps.enable=1")),
        row("io_set", "refused_by_the_driver", call(io_set, 9, 1), keeps("gps.enable=0"),
            meets_fault(gps_enable + ":write", EBUSY)),
        row("io_get", "attribute_0", call(io_get, 11), given("echosounder.reset=0"), gives("0"),
            reads(echosounder_reset)),
        row("io_get", "attribute_1", call(io_get, 11), given("echosounder.reset=1"), gives("1")),
        row("io_set", "pwm_on", call(io_set, 0, 1), given("pwm1.status=0"), writes(pwm1 + "status", "1"),
            leaves("pwm1.status=1")),
        row("io_set", "pwm_off", call(io_set, 0, 0), writes(pwm1 + "status", "0")),
        row("io_set", "pwm_neither_on_nor_off", call(io_set, 0, 2), does_nothing()),
        row("io_get", "pwm", call(io_get, 0), given("pwm1.status=1"), gives("1"), reads(pwm1 + "status")),
        // The board has programmed 2700 Hz and 50 %.
        row("io_config_set", "frequency_and_duty", program(25, 1000), sets_period("1000000"), sets_duty("250000"),
            leaves("pwm1.period=1000000, pwm1.duty=250000")),
        row("io_config_set", "duty_kept", program(-1, 2000000), sets_period("500"), sets_duty("250")),
        row("io_config_set", "duty_0", program(0, 1000), sets_period("1000000")),
        // 50 x 1000000000 wraps in 32 bits.
        row("io_config_set", "slowest", program(50, 1), sets_period("1000000000"), sets_duty("27553597")),
        row("io_config_set", "duty_too_high", program(101, 1000), fails(refuses(), "PWM duty out of range"),
            sets_period("1000000")),
        row("io_config_set", "too_slow", program(50, 0), is_refused(no_frequency)),
        row("io_config_set", "too_fast", program(50, 2000001), is_refused(no_frequency),
            leaves("pwm1.period=370370, pwm1.duty=185185")),
        row("io_config_get", "pwm", call(io_config_get, 0), gives("2700 Hz 50 %"), reads(pwm1 + "period"),
            reads(pwm1 + "period"), reads(pwm1 + "duty")),
        row("wifi_antenna_set", "second", call(wifi_antenna_set, 1), sets_line(40, "1"), leaves("gpio.40=1")),
        row("wifi_antenna_set", "first", call(wifi_antenna_set, 0), sets_line(40, "0"), leaves("gpio.40=0")),
        row("wifi_antenna_set", "line_in_use", call(wifi_antenna_set, 1), meets_fault(gpio + "export:write", EBUSY)),
        row("bluetooth_antenna_set", "second", call(bluetooth_antenna_set, 1), sets_line(41, "1"), leaves("gpio.41=1")),
        row("bluetooth_antenna_set", "first", call(bluetooth_antenna_set, 0), sets_line(41, "0"), leaves("gpio.41=0")),
        row("bluetooth_antenna_set", "line_in_use", call(bluetooth_antenna_set, 1),
            meets_fault(gpio + "export:write", EBUSY)),
        row("serial_mux", "first", call(serial_mux, 0, 0), sets_line(42, "0"), sets_line(43, "0"),
            leaves("gpio.42=0, gpio.43=0")),
        row("serial_mux", "second", call(serial_mux, 0, 1), sets_line(42, "1"), sets_line(43, "0"),
            leaves("gpio.42=1, gpio.43=0")),
        row("serial_mux", "third", call(serial_mux, 0, 2), sets_line(42, "1"), sets_line(43, "1"),
            leaves("gpio.42=1, gpio.43=1")),
        row("serial_mux", "unknown_port", call(serial_mux, 0, 3), is_refused(no_port)),
        row("serial_mux", "negative_port", call(serial_mux, 0, -1), is_refused(no_port)),
    };
}

std::vector<Row> sensors_and_radios() {
    const std::string temperatures = "thermal.temp=91000, thermal1.temp=-5000";
    const std::string levels = "mrfi0.rssi=-57, mrfi1.rssi=-90";
    const std::string types = "mrfi0.type=3, mrfi1.type=1";
    const std::string second_links = "mrfi0.autolink=0, mrfi1.autolink=1";
    const std::string linked = "mrfi0.connections=0xab0001 0 0 -1 0 0;0x0 0 0 -1 0 0";
    return {
        row("thermal_state_get", "first_zone", call(thermal_state_get, 0), given(temperatures),
            gives("91000 60000 75000 85000 95000"), reads_zone(0, {0, 1, 2, 3})),
        // Its trip points have another order. They are read in the record's: active, hot, very hot, critical.
        row("thermal_state_get", "second_zone", call(thermal_state_get, 1), given(temperatures),
            gives("-5000 55000 80000 95000 105000"), reads_zone(1, {2, 1, 3, 0})),
        row("wifi_present", "fitted", call(wifi_present), gives("true")),
        row("wifi_info_get", "fitted", call(wifi_info_get), gives("wlan0 3")),
        row("bluetooth_present", "fitted", call(bluetooth_present), gives("true")),
        row("bluetooth_info_get", "fitted", call(bluetooth_info_get), gives("hci0 3")),
        row("gps_info_get", "fitted", call(gps_info_get), gives("1 1")),
        row("es_present", "fitted", call(es_present), gives("true")),
        row("mrfi_rssi_get", "first", call(mrfi_rssi_get, 0), given(levels), gives("-57"), reads(mrfi(0, "rssi"))),
        row("mrfi_rssi_get", "second", call(mrfi_rssi_get, 1), given(levels), gives("-90"), reads(mrfi(1, "rssi"))),
        row("mrfi_type_get", "first", call(mrfi_type_get, 0), given(types), gives("3"), reads(mrfi(0, "type"))),
        row("mrfi_type_get", "second", call(mrfi_type_get, 1), given(types), gives("1"), reads(mrfi(1, "type"))),
        row("mrfi_address_get", "first", call(mrfi_address_get, 0), gives("4d 3c 2b 1a "), reads(mrfi(0, "address"))),
        row("mrfi_address_get", "second", call(mrfi_address_get, 1), gives("1 0 ab 0 "), reads(mrfi(1, "address"))),
        row("mrfi_autolink_get", "off", call(mrfi_autolink_get, 0), given(second_links), gives("false"),
            reads(mrfi(0, "autolink"))),
        row("mrfi_autolink_get", "on", call(mrfi_autolink_get, 1), given(second_links), gives("true"),
            reads(mrfi(1, "autolink"))),
        row("mrfi_autolink_set", "on", call(mrfi_autolink_set, 0, 1), given("mrfi0.autolink=0, mrfi1.autolink=0"),
            writes(mrfi(0, "autolink"), "1"), leaves("mrfi0.autolink=1, mrfi1.autolink=0")),
        row("mrfi_autolink_set", "off", call(mrfi_autolink_set, 1, 0), given("mrfi0.autolink=1, mrfi1.autolink=1"),
            writes(mrfi(1, "autolink"), "0"), leaves("mrfi0.autolink=1, mrfi1.autolink=0")),
        row("mrfi_autolink_set", "neither_on_nor_off", call(mrfi_autolink_set, 0, 2), writes(mrfi(0, "autolink"), "1")),
        row("mrfi_autolink_set", "low_bits_zero", call(mrfi_autolink_set, 0, 0x100), given("mrfi0.autolink=1"),
            writes(mrfi(0, "autolink"), "0"), leaves("mrfi0.autolink=0")),
        row("mrfi_autolink_set", "low_bits_set", call(mrfi_autolink_set, 0, -1), writes(mrfi(0, "autolink"), "1")),
        row("mrfi_autolink_set", "refused_by_the_driver", call(mrfi_autolink_set, 0, 1), keeps("mrfi0.autolink=0"),
            meets_fault(mrfi(0, "autolink") + ":write", EIO)),
        row("mrfi_link", "peer", call(mrfi_link, 0, peer), given(linked), writes(mrfi(0, "link"), "0xab0001")),
        row("mrfi_link", "new_peer", call(mrfi_link, 1, peer),
            given("mrfi0.connections=, mrfi1.connections=, mrfi1.rssi=-90"),
            leaves("mrfi0.connections=, mrfi1.connections=0xab0001 0 0 -90 1 0")),
        row("mrfi_link", "highest_address", call(mrfi_link, 1, highest), writes(mrfi(1, "link"), "0xffffffff")),
        row("mrfi_link", "address_zero", call(mrfi_link, 1, zero), writes(mrfi(1, "link"), "0")),
        row("mrfi_link", "refused_by_the_driver", call_of("mrfi_link"), keeps("mrfi0.connections="),
            meets_fault(mrfi(0, "link") + ":write", EBUSY)),
        row("mrfi_unlink", "peer", call(mrfi_unlink, 0, peer), given(linked), writes(mrfi(0, "unlink"), "0xab0001")),
        row("mrfi_unlink", "address_zero", call(mrfi_unlink, 0, zero), given(linked), writes(mrfi(0, "unlink"), "0")),
        row("mrfi_unlink", "known_peer", call(mrfi_unlink, 0, known_peer),
            given("mrfi0.connections=" + two_connections + ", mrfi1.connections=" + two_connections),
            leaves("mrfi0.connections=0x12340001 1f 2 -60 1 0, mrfi1.connections=" + two_connections_shown)),
        row("mrfi_unlink", "unknown_peer", call(mrfi_unlink, 0, peer), given("mrfi0.connections=" + two_connections),
            fails(file_fails_with(ENOENT), stream_failure), leaves("mrfi0.connections=" + two_connections_shown)),
        row("mrfi_class_get", "upper_half_of_the_address", call_of("mrfi_class_get"), gives("4660")),
        row("mrfi_class_get", "highest_address", call(mrfi_class_get, highest), gives("65535")),
        row("attitude_get", "axes", call(attitude_get), given("attitude.x=-2048, attitude.y=34, attitude.z=2047"),
            gives("-2048 34 2047")),
        row("attitude_get", "node_not_opened", call(attitude_get), meets_fault("/dev/input/event0:open", EACCES),
            fails(fails_with(EACCES, untouched), "Permission denied")),
        row("car_motion_get", "forwards", call(car_motion_get), given("motion.x=50, motion.rx=0"),
            gives("50 forwards")),
        row("car_motion_get", "backwards", call(car_motion_get), given("motion.x=50, motion.rx=-1"),
            gives("50 backwards")),
        row("car_motion_get", "failing_query", call(car_motion_get), meets_fault("/dev/input/event1:ioctl", EIO),
            fails(fails_with(EIO, untouched), "Input/output error")),
    };
}

std::vector<Row> serial_ports() {
    const auto handled = [](const std::string& all, const std::string& disabled) {
        return given("keys.keys=" + all + ", keys.disabled_keys=" + disabled);
    };
    const auto alt_func = [](int port, serial_alt_func_t function) {
        return call(serial_alt_func_set, port, function);
    };
    const std::string all_keys = "31,33,102,116";
    const std::string all_but_31 = "33,102,116";
    return {
        row("serial_device_info_get", "first", call(serial_device_info_get, 0), gives("/dev/ttymxc4 9600 0")),
        row("serial_device_info_get", "second", call(serial_device_info_get, 1), gives("/dev/ttymxc3 38400 0")),
        row("serial_alt_func_has", "key", call(serial_alt_func_has, 0, SERIAL_ALT_FUNC_KEY),
            given("keys.keys=" + all_keys), gives("true"), reads(keys)),
        row("serial_alt_func_has", "serial", call(serial_alt_func_has, 0, SERIAL_ALT_FUNC_SERIAL), gives("true"),
            does_nothing()),
        row("serial_alt_func_has", "key_of_a_port_without_one", call(serial_alt_func_has, 1, SERIAL_ALT_FUNC_KEY),
            gives("false"), does_nothing()),
        row("serial_alt_func_set", "serial", alt_func(0, SERIAL_ALT_FUNC_SERIAL), handled(all_keys, "31"), reads(keys),
            reads(disabled_keys), writes(disabled_keys, "31,")),
        row("serial_alt_func_set", "serial_beside_another", alt_func(0, SERIAL_ALT_FUNC_SERIAL),
            handled(all_keys, "102"), leaves("keys.disabled_keys=31,102")),
        row("serial_alt_func_set", "key", alt_func(0, SERIAL_ALT_FUNC_KEY), handled(all_keys, "31"), reads(keys),
            reads(keys), reads(disabled_keys), writes(disabled_keys, "0,"), leaves("keys.disabled_keys=")),
        row("serial_alt_func_set", "listed_but_without_effect", alt_func(1, 2), does_nothing()),
        row("serial_alt_func_set", "not_listed", alt_func(0, 2), keeps("keys.disabled_keys=102"), is_invalid(),
            does_nothing()),
        row("serial_alt_func_set", "key_of_a_port_without_one", alt_func(1, SERIAL_ALT_FUNC_KEY), is_invalid(),
            does_nothing()),
        row("serial_alt_func_set", "serial_of_a_port_without_a_key", alt_func(1, SERIAL_ALT_FUNC_SERIAL),
            given("keys.keys=" + all_keys), is_invalid(), reads(keys)),
        row("serial_alt_func_set", "key_not_handled", alt_func(0, SERIAL_ALT_FUNC_KEY),
            given("keys.keys=" + all_but_31), is_invalid(), reads(keys)),
        row("serial_alt_func_set", "serial_key_not_handled", alt_func(0, SERIAL_ALT_FUNC_SERIAL),
            given("keys.keys=" + all_but_31), is_invalid(), reads(keys)),
    };
}

std::string read_platform_info() {
    platform_info_t info = {};
    const std::string text = answer([&] { return platform_info_get(&info, sizeof info); });
    return text + ": " + info.serial_number + " " + std::to_string(info.os_date_year) + " " +
           std::to_string(info.fs_version_build) + " " + std::to_string(info.splash_version_major) + " " +
           info.boot_version_status;
}

std::vector<Row> the_unit() {
    return {
        row("platform_info_get", "versions_and_serial_number", read_platform_info, gives("AB12C0FFEE 2026 17 2 R")),
        row("platform_uid_get", "of_the_table", call(platform_uid_get), gives("4660")),
        row("platform_oemid_get", "of_the_table", call(platform_oemid_get), gives("5")),
        row("platform_mid_get", "of_the_table", call(platform_mid_get), gives("42")),
        row("platform_can_manuf_code_get", "of_the_table", call(platform_can_manuf_code_get), gives("557")),
        row("platform_can_unique_num_get", "of_the_table", call(platform_can_unique_num_get), gives("74565")),
        row("power_shutdown", "failing_program", call_of("power_shutdown"), given("poweroff.exit=3"),
            fails(fails_with(ESRCH), "No such process")),
        row("power_reboot", "failing_program", call_of("power_reboot"), given("reboot.exit=1"),
            fails(fails_with(EPERM), "Operation not permitted")),
        // A refused suspend is not reported.
        row("power_suspend", "refused_by_the_kernel", call_of("power_suspend"),
            meets_fault("/sys/power/state:write", EBUSY), fails(success_that_leaves(EBUSY), "")),
        row("watchdog_enable", "negative_timeout", call(watchdog_enable, -1), is_invalid(),
            leaves("watchdog.running=0")),
        row("watchdog_enable", "node_not_opened", call(watchdog_enable, 30), meets_fault("/dev/watchdog:open", EBUSY),
            fails(fails_with(EBUSY), "Device or resource busy"), leaves("watchdog.running=0")),
        row("watchdog_disable", "not_armed", call(watchdog_disable), is_invalid()),
        row("watchdog_refresh", "not_armed", call(watchdog_refresh), is_invalid()),
    };
}

std::vector<Row> rows(const std::function<bool(const Row&)>& wanted) {
    std::vector<Row> all;
    for (const auto& some : {lights(), lines(), sensors_and_radios(), serial_ports(), the_unit()})
        std::ranges::copy_if(some, std::back_inserter(all), wanted);
    return all;
}

std::string name_of(const testing::TestParamInfo<Row>& instance) {
    return instance.param.function + "_" + instance.param.what;
}

// ---- Result and effect on the hardware -----------------------------------------------------------------------------

class Functions : public testing::TestWithParam<Row> {};

TEST_P(Functions, HaveThisResultAndEffect) {
    const Row& row = GetParam();
    proves(row.kind(), {row.function});
    set_hardware(row.before);
    std::optional<Fault> fault;
    if (!row.fault.empty()) fault.emplace(row.fault);
    EXPECT_THAT(run_in_child(row.call), returns(row.result, row.error_text()));
    for (const auto& [name, value] : values_of(row.afterwards)) EXPECT_EQ(hardware({"get", name}), value) << name;
}

INSTANTIATE_TEST_SUITE_P(All, Functions, testing::ValuesIn(rows([](const Row&) { return true; })), name_of);

TEST(Power, SuspendWritesMemAndReturns) {
    proves(Kind::good, {"power_suspend"});
    const int before = std::stoi(hardware({"get", "power.suspended"}));
    EXPECT_THAT(run_in_child(call_of("power_suspend")), returns(succeeds()));
    EXPECT_EQ(std::stoi(hardware({"get", "power.suspended"})), before + 1);
}

// Each end of the unit has ended a run of its own: see tests/families/run.
TEST(Power, ShutdownAndRebootRunTheProgramsThatEndTheUnit) {
    proves(Kind::good, {"power_shutdown", "power_reboot"});
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_SHUTDOWN"), "122");
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_REBOOT"), "121");
}

TEST(Watchdog, IsArmedFedAndDisarmed) {
    proves(Kind::good, {"watchdog_enable", "watchdog_refresh", "watchdog_disable"});
    const ChildResult child = run_in_child([] {
        const auto state = [](const std::string& name) { return hardware({"get", "watchdog." + name}); };
        const std::string armed = joined({result_of(watchdog_enable, 30), state("running"), state("timeout")});
        const int before = std::stoi(state("feedings"));
        const std::string fed = result_of(watchdog_refresh);
        const int feedings = std::stoi(state("feedings")) - before;
        return joined({armed, fed, std::to_string(feedings), result_of(watchdog_disable)});
    });
    EXPECT_THAT(child, returns(joined({succeeds(), "1", "30", succeeds(), "1", succeeds()})));
    EXPECT_EQ(hardware({"get", "watchdog.running"}), "0");
}

// The node is closed and the watchdog disarmed all the same, so nothing is reported.
TEST(Watchdog, IsDisarmedEvenIfTheCloseFails) {
    proves(Kind::bad_input, {"watchdog_disable"});
    const Fault fault("/dev/watchdog:close:EIO");
    EXPECT_THAT(run_in_child(in_turn({call(watchdog_enable, 30), call(watchdog_disable), call(watchdog_disable)})),
                returns({succeeds(), success_that_leaves(EIO), fails_with(EINVAL)},
                        failed("watchdog_disable", "Invalid argument")));
    EXPECT_EQ(hardware({"get", "watchdog.running"}), "0");
}

// ---- Act by act ----------------------------------------------------------------------------------------------------

enum class Phase { open, transfer, close };
constexpr Phase phases[] = {Phase::open, Phase::transfer, Phase::close};

/** The act as the Recorder matches it. */
std::string act_of(const Step& step, Phase phase) {
    if (phase == Phase::transfer) return (step.is_read() ? "read " : "write ") + step.path;
    return step.acts().at(static_cast<std::size_t>(phase));
}

/** The acts of a step that fails in this phase: a failed open ends it, any other failure is followed by the close. */
Acts failing(const Step& step, Phase phase, int error) {
    Acts acts = step.acts();
    acts.at(static_cast<std::size_t>(phase)) += std::string(" = ") + strerrorname_np(error);
    if (phase == Phase::open) acts.resize(1);
    return acts;
}

int count(const Acts& acts, const std::string& act) {
    return static_cast<int>(
        std::ranges::count_if(acts, [&](const auto& each) { return each == act || each.starts_with(act + " "); }));
}

class RecordedFunctions : public testing::TestWithParam<Row> {
protected:
    void SetUp() override { VELMOR_NEEDS_RECORDER(); }

    /** Starts the board and makes the call, which has this result and makes these acts. Returns the acts of the start.
     */
    static Acts expect(const CallResult& result, const std::string& error_text, const Acts& acts,
                       const Recorder& recorder = {}) {
        const Recording recording = record(GetParam().before, GetParam().call, recorder);
        give_lines_back();
        EXPECT_THAT(recording, returns(result, error_text));
        EXPECT_THAT(recording.acts, ElementsAreArray(acts));
        return recording.start;
    }

    /** The first failure is reported, errno is the last one's. */
    static void expect_failure(int error, const std::string& cause, const Acts& acts, const Recorder& recorder) {
        expect(GetParam().result.failing(-1, error), failed(GetParam().function, cause), acts, recorder);
    }
};

// Every open, transfer and close fails in turn. If the library then cleans up, every act of that fails in turn too.
TEST_P(RecordedFunctions, MakeTheseActsAndEndWithTheOneThatFails) {
    const Row& row = GetParam();
    proves(row.kind(), {row.function});
    if (!row.steps->empty()) proves(Kind::bad_input, {row.function});
    Acts all;
    for (const Step& step : *row.steps) all = in_order({all, step.acts()});
    const Acts start = expect(row.result, row.error_text(), all);
    Acts before;
    for (const Step& step : *row.steps) {
        const auto nth = [&](const std::string& act) { return count(start, act) + count(before, act) + 1; };
        for (const Phase phase : phases) {
            const std::string act = act_of(step, phase);
            const testing::ScopedTrace where(__FILE__, __LINE__, act);
            const std::string cause = step.is_read() && phase == Phase::transfer ? read_failure : stream_failure;
            const Recorder recorder = Recorder().fail(act, EIO, nth(act));
            Acts expected = in_order({before, failing(step, phase, EIO)});
            for (const Step& next : step.cleanup) {
                for (const Phase again : phases) {
                    const std::string second = act_of(next, again);
                    const testing::ScopedTrace and_then(__FILE__, __LINE__, second);
                    expect_failure(ENOSPC, cause, in_order({expected, failing(next, again, ENOSPC)}),
                                   Recorder(recorder).fail(second, ENOSPC, nth(second)));
                }
                expected = in_order({expected, next.acts()});
            }
            expect_failure(EIO, cause, expected, recorder);
        }
        before = in_order({before, step.acts()});
    }
}

INSTANTIATE_TEST_SUITE_P(All, RecordedFunctions,
                         testing::ValuesIn(rows([](const Row& row) { return row.steps.has_value(); })), name_of);

// ---- Null pointers -------------------------------------------------------------------------------------------------

class NullPointer : public testing::TestWithParam<NullCall> {};

TEST_P(NullPointer, IsInvalidAndPrintsNothing) {
    proves(Kind::bad_input, {GetParam().function});
    EXPECT_THAT(run_in_child(GetParam().call), returns(fails_with(EINVAL)));
}

INSTANTIATE_TEST_SUITE_P(Functions, NullPointer, testing::ValuesIn(null_calls()),
                         [](const auto& instance) { return instance.param.name(); });

// ---- Missing hardware ----------------------------------------------------------------------------------------------

/** What is printed on a board without the family. Functions that query its presence, or that need no hardware, succeed.
 */
std::string printed_without(const std::string& function) {
    if (function.ends_with("_present")) return "0: false\n";
    if (function == "mrfi_class_get") return "0: 4660\n";
    if (function.ends_with("_list_read")) return failed(function, context_not_valid) + "-1: untouched\n";
    if (function.ends_with("_list_close")) return failed(function, context_not_valid) + "-1\n";
    return failed(function, not_supported) + std::string(not_supported_result(function)) + "\n";
}

class BoardOfNoFamily : public testing::TestWithParam<std::string> {};

TEST_P(BoardOfNoFamily, DoesNotSupportTheFunction) {
    proves(Kind::absent, {GetParam()});
    EXPECT_EQ(output_of(VELMOR_CHOSEN_BOARD, {VELMOR_CALL_FUNCTION, GetParam()}), printed_without(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Functions, BoardOfNoFamily, testing::ValuesIn(exported_functions()),
                         [](const auto& instance) { return instance.param; });

struct Family {
    std::vector<std::string> functions;
    std::vector<int> missing;  // in addition to those that no family has
};

class MissingIndex : public testing::TestWithParam<Family> {};

TEST_P(MissingIndex, IsNotSupportedAndPrintsOneLine) {
    std::vector<int> indices = {-1, INT_MIN, INT_MAX, INT_MAX - 50};
    std::ranges::copy(GetParam().missing, std::back_inserter(indices));
    proves(Kind::absent, GetParam().functions);
    for (const std::string& function : GetParam().functions)
        for (const int index : indices)
            EXPECT_THAT(run_in_child(call_of(function, index)),
                        returns(not_supported_result(function), failed(function, not_supported)))
                << function << index;
}

// A line that is not a PWM has no configuration. An index after a family's last is often the next family's key.
INSTANTIATE_TEST_SUITE_P(
    Functions, MissingIndex,
    testing::Values(Family{.functions = {"led_color_set", "led_color_get", "serial_mux"}, .missing = {1, 2}},
                    Family{.functions = {"io_set", "io_get"}, .missing = {3, 8, 10, 12}},
                    Family{.functions = {"io_config_set", "io_config_get"}, .missing = {1, 2, 3, 9, 11}},
                    Family{.functions = {"backlight_set", "backlight_get", "display_set", "display_get",
                                         "thermal_state_get", "mrfi_rssi_get", "mrfi_type_get", "mrfi_address_get",
                                         "mrfi_autolink_set", "mrfi_autolink_get", "mrfi_link", "mrfi_unlink",
                                         "mrfi_connection_list_open", "mrfi_device_list_open", "serial_device_info_get",
                                         "serial_alt_func_has", "serial_alt_func_set"},
                           .missing = {2, 3}}),
    [](const auto& instance) { return instance.param.functions.front(); });

}  // namespace
