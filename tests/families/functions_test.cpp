// SPDX-License-Identifier: MIT
// Every exported function on the board that has every family, which is what these tests add to those of the device's
// own board in tests/system: what a call does to the hardware, act by act, what becomes of it when one of the acts
// fails, what it makes of bad input and of a driver that refuses, and what it returns where its hardware is missing.

#include <gmock/gmock.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "families/calls.h"
#include "families/recording.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/acts.h"
#include "support/exported_functions.h"
#include "support/null_calls.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using families::call_of;
using families::give_lines_back;
using families::hardware;
using families::Kind;
using families::output_of;
using families::proves;
using families::Recording;
using families::Values;
using testing::ElementsAreArray;
using namespace testing_support;

namespace {

// ---- A row of the table --------------------------------------------------------------------------------------------

/** One attribute opened, transferred and closed. */
struct Step {
    std::string path;
    std::string bytes;                // that are written; a read has none
    std::vector<Step> recovery = {};  // at most one: what follows where this fails

    bool is_read() const { return bytes.empty(); }
    Acts acts() const { return is_read() ? read_acts(path) : write_acts(path, bytes); }
};

/** A call and all that comes of it. */
struct Row {
    std::string function;
    std::string what;
    Scenario call;
    CallResult result = succeeds();
    Values before = {};
    Values afterwards = {};
    std::optional<std::vector<Step>> steps = {};  // without them, the acts are not looked at
    std::string cause = {};                       // of the failure line
    std::string fault = {};                       // of the driver

    Kind kind() const { return cause.empty() && fault.empty() ? Kind::good : Kind::bad_input; }
    std::string error_text() const { return cause.empty() ? "" : failed(function, cause); }
};

using Part = std::function<void(Row&)>;

Part given(const Values& values) {
    return [values](Row& row) { row.before = values; };
}

Part leaves(const Values& values) {
    return [values](Row& row) { row.afterwards = values; };
}

Part does(const std::vector<Step>& steps) {
    return [steps](Row& row) { row.steps = steps; };
}

Part prints(const std::string& cause) {
    return [cause](Row& row) { row.cause = cause; };
}

Part with_fault(const std::string& fault) {
    return [fault](Row& row) { row.fault = fault; };
}

void add(Row& row, const Part& part) {
    part(row);
}

void add(Row& row, const CallResult& result) {
    row.result = result;
}

/** The call succeeds, stores nothing and prints nothing where the parts do not say otherwise. */
template <typename... Parts>
Row row(const std::string& function, const std::string& what, const Scenario& call, const Parts&... parts) {
    Row row = {.function = function, .what = what, .call = call};
    (..., add(row, parts));
    return row;
}

Step reads(const std::string& path) {
    return {path, ""};
}

Step writes(const std::string& path, const std::string& bytes) {
    return {path, bytes};
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

/** A line exported, directed, used and given back, also where its level cannot be transferred. */
std::vector<Step> line(int pin, const std::string& direction, const std::string& level) {
    const std::string number = std::to_string(pin);
    const std::string attributes = gpio + "gpio" + number + "/";
    const Step unexport = writes(gpio + "unexport", number);
    return {writes(gpio + "export", number), writes(attributes + "direction", direction),
            Step{attributes + "value", level, {unexport}}, unexport};
}

std::vector<Step> output(int pin, const std::string& level) {
    return line(pin, "out", level);
}

std::vector<Step> input(int pin) {
    return line(pin, "in", "");
}

std::vector<Step> both(std::vector<Step> first, const std::vector<Step>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string blank(int display) {
    return "/sys/class/graphics/fb" + std::to_string(display) + "/blank";
}

/** The zone's temperature, and those of its trip points in this order. */
std::vector<Step> zone(int index, const std::vector<int>& trips) {
    const std::string directory = "/sys/class/thermal/thermal_zone" + std::to_string(index) + "/";
    std::vector<Step> steps = {reads(directory + "temp")};
    for (const int trip : trips) steps.push_back(reads(directory + "trip_point_" + std::to_string(trip) + "_temp"));
    return steps;
}

std::string mrfi(int index, const std::string& attribute) {
    return "/sys/class/mrfi/mrfi" + std::to_string(index) + "/" + attribute;
}

/** The first PWM's new period is written while its duty is 0. */
std::vector<Step> new_period(const std::string& period) {
    return {reads(pwm1 + "period"), reads(pwm1 + "duty"), reads(pwm1 + "period"), writes(pwm1 + "duty", "0"),
            writes(pwm1 + "period", period)};
}

std::vector<Step> new_period_and_duty(const std::string& period, const std::string& duty) {
    return both(new_period(period), {reads(pwm1 + "period"), writes(pwm1 + "duty", duty)});
}

constexpr mrfi_addr_t peer = {{0x01, 0x00, 0xab, 0x00}};
constexpr mrfi_addr_t known_peer = {{0x02, 0x00, 0x34, 0x12}};
constexpr mrfi_addr_t highest = {{0xff, 0xff, 0xff, 0xff}};
constexpr mrfi_addr_t zero = {{0, 0, 0, 0}};
constexpr char two_connections[] = "0x12340001 1f 2 -60 1 0;0x12340002 a 3 -71 0 1";
constexpr char two_connections_shown[] = "0x12340001 1f 2 -60 1 0\n0x12340002 a 3 -71 0 1";

constexpr char no_brightness[] = "backlight brightness out of range";
constexpr char no_color[] = "color out of range";
constexpr char no_direction[] = "GPIO direction not valid";
constexpr char no_frequency[] = "PWM frequency out of range";
constexpr char no_duty[] = "PWM duty out of range";
constexpr char no_port[] = "Unsupported port";
constexpr char invalid[] = "Invalid argument";

// ---- The table -----------------------------------------------------------------------------------------------------

std::vector<Row> lights() {
    const Values dim = {{"backlight.brightness", "7"}, {"pwm2.duty", "100000"}, {"pwm2.status", "0"}};
    const Values dim_and_running = {{"backlight.brightness", "7"}, {"pwm2.duty", "100000"}, {"pwm2.status", "1"}};
    const auto color = [](int red, int green, int blue) {
        return call(led_color_set, 0, led_color_t{red, green, blue});
    };
    return {
        row("backlight_set", "1", call(backlight_set, 0, 1U), does({writes(brightness, "1")})),
        row("backlight_set", "128", call(backlight_set, 0, 128U), given(dim), does({writes(brightness, "4")}),
            leaves({{"backlight.brightness", "4"}, {"pwm2.duty", "100000"}, {"pwm2.status", "0"}})),
        row("backlight_set", "255", call(backlight_set, 0, 255U), does({writes(brightness, "7")})),
        row("backlight_set", "0", call(backlight_set, 0, 0U), given(dim_and_running), does({writes(brightness, "0")}),
            leaves({{"backlight.brightness", "0"}, {"pwm2.duty", "100000"}, {"pwm2.status", "1"}})),
        row("backlight_set", "256", call(backlight_set, 0, 256U), given({{"backlight.brightness", "7"}}), refuses(),
            prints(no_brightness), does({}), leaves({{"backlight.brightness", "7"}})),
        row("backlight_get", "level", call(backlight_get, 0), given({{"backlight.brightness", "4"}}), succeeds("128"),
            does({reads(brightness)})),
        row("backlight_set", "1_of_the_pwm", call(backlight_set, 1, 1U),
            does({reads(pwm2 + "period"), writes(pwm2 + "duty", "0"), writes(pwm2 + "status", "1")})),
        row("backlight_set", "128_of_the_pwm", call(backlight_set, 1, 128U), given(dim),
            does({reads(pwm2 + "period"), writes(pwm2 + "duty", "500000"), writes(pwm2 + "status", "1")}),
            leaves({{"backlight.brightness", "7"}, {"pwm2.duty", "500000"}, {"pwm2.status", "1"}})),
        row("backlight_set", "255_of_the_pwm", call(backlight_set, 1, 255U),
            does({reads(pwm2 + "period"), writes(pwm2 + "duty", "1000000"), writes(pwm2 + "status", "1")})),
        row("backlight_set", "0_of_the_pwm", call(backlight_set, 1, 0U), given(dim_and_running),
            does({writes(pwm2 + "status", "0")}), leaves(dim)),
        row("backlight_set", "256_of_the_pwm", call(backlight_set, 1, 256U), given(dim), refuses(),
            prints(no_brightness), does({}), leaves(dim)),
        row("backlight_get", "level_of_the_pwm", call(backlight_get, 1),
            given({{"pwm2.period", "1000000"}, {"pwm2.duty", "500000"}, {"pwm2.status", "1"}}), succeeds("127"),
            does({reads(pwm2 + "status"), reads(pwm2 + "period"), reads(pwm2 + "duty")})),
        row("backlight_get", "of_the_stopped_pwm", call(backlight_get, 1),
            given({{"pwm2.duty", "500000"}, {"pwm2.status", "0"}}), succeeds("0"), does({reads(pwm2 + "status")})),
        row("display_set", "on", call(display_set, 0, 1U), does({writes(blank(0), "0")})),
        row("display_set", "second_on", call(display_set, 1, 1U),
            given({{"display.blank", "1"}, {"display1.blank", "1"}}), does({writes(blank(1), "0")}),
            leaves({{"display.blank", "1"}, {"display1.blank", "0"}})),
        row("display_set", "off", call(display_set, 0, 0U), given({{"display.blank", "0"}, {"display1.blank", "0"}}),
            does({writes(blank(0), "1")}), leaves({{"display.blank", "1"}, {"display1.blank", "0"}})),
        row("display_set", "second_off", call(display_set, 1, 0U), does({writes(blank(1), "1")})),
        row("display_set", "other", call(display_set, 0, 2U), does({writes(blank(0), "3")})),
        row("display_set", "refused", call(display_set, 1, 0U), given({{"display1.blank", "0"}}),
            with_fault(blank(1) + ":write:EIO"), file_fails_with(EIO), prints(stream_failure),
            leaves({{"display1.blank", "0"}})),
        // The driver has taken it by then.
        row("display_set", "close_that_fails", call(display_set, 1, 0U), given({{"display1.blank", "0"}}),
            with_fault(blank(1) + ":close:EIO"), file_fails_with(EIO), prints(stream_failure),
            leaves({{"display1.blank", "1"}})),
        row("display_get", "on", call(display_get, 0), given({{"display.blank", "0"}}), succeeds("true"),
            does({reads(blank(0))})),
        row("display_get", "second_off", call(display_get, 1), given({{"display.blank", "0"}, {"display1.blank", "1"}}),
            succeeds("false"), does({reads(blank(1))})),
        row("display_get", "deeper", call(display_get, 0), given({{"display.blank", "4"}, {"display1.blank", "1"}}),
            succeeds("true"), does({reads(blank(0))})),
        row("led_color_set", "color", color(255, 0, 16), given({{"keypad.color", "1 2 3"}}),
            does({writes(color_file, "255 0 16")}), leaves({{"keypad.color", "255 0 16"}})),
        row("led_color_set", "red_too_low", color(-1, 0, 0), refuses(), prints(no_color), does({})),
        row("led_color_set", "red_too_high", color(256, 0, 0), refuses(), prints(no_color), does({})),
        row("led_color_set", "green_too_low", color(0, -1, 0), refuses(), prints(no_color), does({})),
        row("led_color_set", "green_too_high", color(0, 256, 0), given({{"keypad.color", "1 2 3"}}), refuses(),
            prints(no_color), does({}), leaves({{"keypad.color", "1 2 3"}})),
        row("led_color_set", "blue_too_low", color(0, 0, -1), refuses(), prints(no_color), does({})),
        row("led_color_set", "blue_too_high", color(0, 0, 256), refuses(), prints(no_color), does({})),
        row("led_color_get", "color", call(led_color_get, 0), given({{"keypad.color", "1 2 3"}}), succeeds("1 2 3"),
            does({reads(color_file)})),
        row("led_color_get", "longer_numbers", call(led_color_get, 0), given({{"keypad.color", "9 128 255"}}),
            succeeds("9 128 255")),
    };
}

std::vector<Row> lines() {
    const auto program = [](int duty, int frequency) { return call(io_config_set, 0, io_config_t{duty, frequency}); };
    const std::string line_in_use = gpio + "export:write:EBUSY";
    return {
        row("io_set", "high", call(io_set, 1, 1), does(output(37, "1")), leaves({{"gpio.37", "1"}})),
        row("io_set", "low", call(io_set, 1, 0), does(output(37, "0")), leaves({{"gpio.37", "0"}})),
        row("io_set", "of_an_input", call(io_set, 2, 1), given({{"gpio.38", "0"}}), refuses(), prints(no_direction),
            does({}), leaves({{"gpio.38", "0"}})),
        row("io_get", "high", call(io_get, 2), given({{"gpio.38", "1"}}), succeeds("1"), does(input(38))),
        row("io_get", "low", call(io_get, 2), given({{"gpio.38", "0"}}), succeeds("0")),
        row("io_get", "of_an_output", call(io_get, 1), refuses(untouched), prints(no_direction), does({})),
        row("io_set", "attribute", call(io_set, 9, 1), given({{"gps.enable", "0"}}), does({writes(gps_enable, "1")}),
            leaves({{"gps.enable", "1"}})),
        row("io_set", "refused", call(io_set, 9, 1), given({{"gps.enable", "0"}}),
            with_fault(gps_enable + ":write:EBUSY"), file_fails_with(EBUSY), prints(stream_failure),
            leaves({{"gps.enable", "0"}})),
        row("io_get", "attribute_0", call(io_get, 11), given({{"echosounder.reset", "0"}}), succeeds("0"),
            does({reads(echosounder_reset)})),
        row("io_get", "attribute_1", call(io_get, 11), given({{"echosounder.reset", "1"}}), succeeds("1")),
        row("io_set", "pwm_on", call(io_set, 0, 1), given({{"pwm1.status", "0"}}), does({writes(pwm1 + "status", "1")}),
            leaves({{"pwm1.status", "1"}})),
        row("io_set", "pwm_off", call(io_set, 0, 0), does({writes(pwm1 + "status", "0")})),
        row("io_set", "pwm_other", call(io_set, 0, 2), does({})),
        row("io_get", "pwm", call(io_get, 0), given({{"pwm1.status", "1"}}), succeeds("1"),
            does({reads(pwm1 + "status")})),
        // The board has programmed 2700 Hz and 50 %.
        row("io_config_set", "both", program(25, 1000), does(new_period_and_duty("1000000", "250000")),
            leaves({{"pwm1.period", "1000000"}, {"pwm1.duty", "250000"}})),
        row("io_config_set", "kept_duty", program(-1, 2000000), does(new_period_and_duty("500", "250"))),
        row("io_config_set", "no_duty", program(0, 1000), does(new_period("1000000"))),
        // 50 x 1000000000 wraps in 32 bits.
        row("io_config_set", "slowest", program(50, 1), does(new_period_and_duty("1000000000", "27553597"))),
        row("io_config_set", "duty_too_high", program(101, 1000), refuses(), prints(no_duty),
            does(new_period("1000000"))),
        row("io_config_set", "too_slow", program(50, 0), refuses(), prints(no_frequency), does({})),
        row("io_config_set", "too_fast", program(50, 2000001), refuses(), prints(no_frequency), does({}),
            leaves({{"pwm1.period", "370370"}, {"pwm1.duty", "185185"}})),
        row("io_config_get", "pwm", call(io_config_get, 0), succeeds("2700 Hz 50 %"),
            does({reads(pwm1 + "period"), reads(pwm1 + "period"), reads(pwm1 + "duty")})),
        row("wifi_antenna_set", "second", call(wifi_antenna_set, 1), does(output(40, "1")), leaves({{"gpio.40", "1"}})),
        row("wifi_antenna_set", "first", call(wifi_antenna_set, 0), does(output(40, "0")), leaves({{"gpio.40", "0"}})),
        row("wifi_antenna_set", "line_that_is_in_use", call(wifi_antenna_set, 1), with_fault(line_in_use),
            file_fails_with(EBUSY), prints(stream_failure)),
        row("bluetooth_antenna_set", "second", call(bluetooth_antenna_set, 1), does(output(41, "1")),
            leaves({{"gpio.41", "1"}})),
        row("bluetooth_antenna_set", "first", call(bluetooth_antenna_set, 0), does(output(41, "0")),
            leaves({{"gpio.41", "0"}})),
        row("bluetooth_antenna_set", "line_that_is_in_use", call(bluetooth_antenna_set, 1), with_fault(line_in_use),
            file_fails_with(EBUSY), prints(stream_failure)),
        row("serial_mux", "first", call(serial_mux, 0, 0), does(both(output(42, "0"), output(43, "0"))),
            leaves({{"gpio.42", "0"}, {"gpio.43", "0"}})),
        row("serial_mux", "second", call(serial_mux, 0, 1), does(both(output(42, "1"), output(43, "0"))),
            leaves({{"gpio.42", "1"}, {"gpio.43", "0"}})),
        row("serial_mux", "third", call(serial_mux, 0, 2), does(both(output(42, "1"), output(43, "1"))),
            leaves({{"gpio.42", "1"}, {"gpio.43", "1"}})),
        row("serial_mux", "unknown", call(serial_mux, 0, 3), refuses(), prints(no_port), does({})),
        row("serial_mux", "negative", call(serial_mux, 0, -1), refuses(), prints(no_port), does({})),
    };
}

std::vector<Row> sensors_and_radios() {
    const Values temperatures = {{"thermal.temp", "91000"}, {"thermal1.temp", "-5000"}};
    const Values levels = {{"mrfi0.rssi", "-57"}, {"mrfi1.rssi", "-90"}};
    const Values types = {{"mrfi0.type", "3"}, {"mrfi1.type", "1"}};
    const Values second_links = {{"mrfi0.autolink", "0"}, {"mrfi1.autolink", "1"}};
    const Values linked = {{"mrfi0.connections", "0xab0001 0 0 -1 0 0;0x0 0 0 -1 0 0"}};
    return {
        row("thermal_state_get", "first_zone", call(thermal_state_get, 0), given(temperatures),
            succeeds("91000 60000 75000 85000 95000"), does(zone(0, {0, 1, 2, 3}))),
        // Its trips are in another order; read in that of the record: active, hot, very hot, critical.
        row("thermal_state_get", "second_zone", call(thermal_state_get, 1), given(temperatures),
            succeeds("-5000 55000 80000 95000 105000"), does(zone(1, {2, 1, 3, 0}))),
        row("wifi_present", "fitted", call(wifi_present), succeeds("true")),
        row("wifi_info_get", "fitted", call(wifi_info_get), succeeds("wlan0 3")),
        row("bluetooth_present", "fitted", call(bluetooth_present), succeeds("true")),
        row("bluetooth_info_get", "fitted", call(bluetooth_info_get), succeeds("hci0 3")),
        row("gps_info_get", "fitted", call(gps_info_get), succeeds("1 1")),
        row("es_present", "fitted", call(es_present), succeeds("true")),
        row("mrfi_rssi_get", "first", call(mrfi_rssi_get, 0), given(levels), succeeds("-57"),
            does({reads(mrfi(0, "rssi"))})),
        row("mrfi_rssi_get", "second", call(mrfi_rssi_get, 1), given(levels), succeeds("-90"),
            does({reads(mrfi(1, "rssi"))})),
        row("mrfi_type_get", "first", call(mrfi_type_get, 0), given(types), succeeds("3"),
            does({reads(mrfi(0, "type"))})),
        row("mrfi_type_get", "second", call(mrfi_type_get, 1), given(types), succeeds("1"),
            does({reads(mrfi(1, "type"))})),
        row("mrfi_address_get", "first", call(mrfi_address_get, 0), succeeds("4d 3c 2b 1a "),
            does({reads(mrfi(0, "address"))})),
        row("mrfi_address_get", "second", call(mrfi_address_get, 1), succeeds("1 0 ab 0 "),
            does({reads(mrfi(1, "address"))})),
        row("mrfi_autolink_get", "off", call(mrfi_autolink_get, 0), given(second_links), succeeds("false"),
            does({reads(mrfi(0, "autolink"))})),
        row("mrfi_autolink_get", "on", call(mrfi_autolink_get, 1), given(second_links), succeeds("true"),
            does({reads(mrfi(1, "autolink"))})),
        row("mrfi_autolink_set", "on", call(mrfi_autolink_set, 0, 1),
            given({{"mrfi0.autolink", "0"}, {"mrfi1.autolink", "0"}}), does({writes(mrfi(0, "autolink"), "1")}),
            leaves({{"mrfi0.autolink", "1"}, {"mrfi1.autolink", "0"}})),
        row("mrfi_autolink_set", "off", call(mrfi_autolink_set, 1, 0),
            given({{"mrfi0.autolink", "1"}, {"mrfi1.autolink", "1"}}), does({writes(mrfi(1, "autolink"), "0")}),
            leaves({{"mrfi0.autolink", "1"}, {"mrfi1.autolink", "0"}})),
        row("mrfi_autolink_set", "other", call(mrfi_autolink_set, 0, 2), does({writes(mrfi(0, "autolink"), "1")})),
        row("mrfi_autolink_set", "low_bits_zero", call(mrfi_autolink_set, 0, 0x100), given({{"mrfi0.autolink", "1"}}),
            does({writes(mrfi(0, "autolink"), "0")}), leaves({{"mrfi0.autolink", "0"}})),
        row("mrfi_autolink_set", "low_bits_set", call(mrfi_autolink_set, 0, -1),
            does({writes(mrfi(0, "autolink"), "1")})),
        row("mrfi_autolink_set", "refused", call(mrfi_autolink_set, 0, 1), given({{"mrfi0.autolink", "0"}}),
            with_fault(mrfi(0, "autolink") + ":write:EIO"), file_fails_with(EIO), prints(stream_failure),
            leaves({{"mrfi0.autolink", "0"}})),
        row("mrfi_link", "peer", call(mrfi_link, 0, peer), given(linked), does({writes(mrfi(0, "link"), "0xab0001")})),
        row("mrfi_link", "new_peer", call(mrfi_link, 1, peer),
            given({{"mrfi0.connections", ""}, {"mrfi1.connections", ""}, {"mrfi1.rssi", "-90"}}),
            leaves({{"mrfi0.connections", ""}, {"mrfi1.connections", "0xab0001 0 0 -90 1 0"}})),
        row("mrfi_link", "highest", call(mrfi_link, 1, highest), does({writes(mrfi(1, "link"), "0xffffffff")})),
        row("mrfi_link", "zero", call(mrfi_link, 1, zero), does({writes(mrfi(1, "link"), "0")})),
        row("mrfi_link", "refused", call_of("mrfi_link"), given({{"mrfi0.connections", ""}}),
            with_fault(mrfi(0, "link") + ":write:EBUSY"), file_fails_with(EBUSY), prints(stream_failure),
            leaves({{"mrfi0.connections", ""}})),
        row("mrfi_unlink", "peer", call(mrfi_unlink, 0, peer), given(linked),
            does({writes(mrfi(0, "unlink"), "0xab0001")})),
        row("mrfi_unlink", "zero", call(mrfi_unlink, 0, zero), given(linked), does({writes(mrfi(0, "unlink"), "0")})),
        row("mrfi_unlink", "known_peer", call(mrfi_unlink, 0, known_peer),
            given({{"mrfi0.connections", two_connections}, {"mrfi1.connections", two_connections}}),
            leaves({{"mrfi0.connections", "0x12340001 1f 2 -60 1 0"}, {"mrfi1.connections", two_connections_shown}})),
        row("mrfi_unlink", "unknown_peer", call(mrfi_unlink, 0, peer), given({{"mrfi0.connections", two_connections}}),
            file_fails_with(ENOENT), prints(stream_failure), leaves({{"mrfi0.connections", two_connections_shown}})),
        row("mrfi_class_get", "of_an_address", call_of("mrfi_class_get"), succeeds("4660")),
        row("attitude_get", "axes", call(attitude_get),
            given({{"attitude.x", "-2048"}, {"attitude.y", "34"}, {"attitude.z", "2047"}}), succeeds("-2048 34 2047")),
        row("attitude_get", "node_that_cannot_be_opened", call(attitude_get),
            with_fault("/dev/input/event0:open:EACCES"), fails_with(EACCES, untouched), prints("Permission denied")),
        row("car_motion_get", "forwards", call(car_motion_get), given({{"motion.x", "50"}, {"motion.rx", "0"}}),
            succeeds("50 forwards")),
        row("car_motion_get", "backwards", call(car_motion_get), given({{"motion.x", "50"}, {"motion.rx", "-1"}}),
            succeeds("50 backwards")),
        row("car_motion_get", "query_that_fails", call(car_motion_get), with_fault("/dev/input/event1:ioctl:EIO"),
            fails_with(EIO, untouched), prints("Input/output error")),
    };
}

std::vector<Row> serial_ports() {
    const auto handled = [](const std::string& all, const std::string& disabled) {
        return given({{"keys.keys", all}, {"keys.disabled_keys", disabled}});
    };
    const auto alt_func = [](int port, serial_alt_func_t function) {
        return call(serial_alt_func_set, port, function);
    };
    constexpr char all_keys[] = "31,33,102,116";
    constexpr char all_but_31[] = "33,102,116";
    return {
        row("serial_device_info_get", "first", call(serial_device_info_get, 0), succeeds("/dev/ttymxc4 9600 0")),
        row("serial_device_info_get", "second", call(serial_device_info_get, 1), succeeds("/dev/ttymxc3 38400 0")),
        row("serial_alt_func_has", "key", call(serial_alt_func_has, 0, SERIAL_ALT_FUNC_KEY),
            given({{"keys.keys", all_keys}}), succeeds("true"), does({reads(keys)})),
        row("serial_alt_func_has", "serial", call(serial_alt_func_has, 0, SERIAL_ALT_FUNC_SERIAL), succeeds("true"),
            does({})),
        row("serial_alt_func_has", "key_of_a_port_without", call(serial_alt_func_has, 1, SERIAL_ALT_FUNC_KEY),
            succeeds("false"), does({})),
        row("serial_alt_func_set", "serial", alt_func(0, SERIAL_ALT_FUNC_SERIAL), handled(all_keys, "31"),
            does({reads(keys), reads(disabled_keys), writes(disabled_keys, "31,")})),
        row("serial_alt_func_set", "serial_beside_another", alt_func(0, SERIAL_ALT_FUNC_SERIAL),
            handled(all_keys, "102"), leaves({{"keys.disabled_keys", "31,102"}})),
        row("serial_alt_func_set", "key", alt_func(0, SERIAL_ALT_FUNC_KEY), handled(all_keys, "31"),
            does({reads(keys), reads(keys), reads(disabled_keys), writes(disabled_keys, "0,")}),
            leaves({{"keys.disabled_keys", ""}})),
        row("serial_alt_func_set", "listed_without_meaning", alt_func(1, 2), does({})),
        row("serial_alt_func_set", "not_listed", alt_func(0, 2), given({{"keys.disabled_keys", "102"}}),
            fails_with(EINVAL), prints(invalid), does({}), leaves({{"keys.disabled_keys", "102"}})),
        row("serial_alt_func_set", "key_of_a_port_without", alt_func(1, SERIAL_ALT_FUNC_KEY), fails_with(EINVAL),
            prints(invalid), does({})),
        row("serial_alt_func_set", "serial_of_a_port_without_key", alt_func(1, SERIAL_ALT_FUNC_SERIAL),
            given({{"keys.keys", all_keys}}), fails_with(EINVAL), prints(invalid), does({reads(keys)})),
        row("serial_alt_func_set", "key_that_the_driver_does_not_handle", alt_func(0, SERIAL_ALT_FUNC_KEY),
            given({{"keys.keys", all_but_31}}), fails_with(EINVAL), prints(invalid), does({reads(keys)})),
        row("serial_alt_func_set", "serial_whose_key_the_driver_does_not_handle", alt_func(0, SERIAL_ALT_FUNC_SERIAL),
            given({{"keys.keys", all_but_31}}), fails_with(EINVAL), prints(invalid), does({reads(keys)})),
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
        row("platform_info_get", "versions_and_serial_number", read_platform_info, succeeds("AB12C0FFEE 2026 17 2 R")),
        row("platform_uid_get", "of_the_table", call(platform_uid_get), succeeds("4660")),
        row("platform_oemid_get", "of_the_table", call(platform_oemid_get), succeeds("5")),
        row("platform_mid_get", "of_the_table", call(platform_mid_get), succeeds("42")),
        row("platform_can_manuf_code_get", "of_the_table", call(platform_can_manuf_code_get), succeeds("557")),
        row("platform_can_unique_num_get", "of_the_table", call(platform_can_unique_num_get), succeeds("74565")),
        row("power_shutdown", "program_fails", call_of("power_shutdown"), given({{"poweroff.exit", "3"}}),
            fails_with(ESRCH), prints("No such process")),
        row("power_reboot", "program_fails", call_of("power_reboot"), given({{"reboot.exit", "1"}}), fails_with(EPERM),
            prints("Operation not permitted")),
        // A refused suspend is not reported.
        row("power_suspend", "refused", call_of("power_suspend"), with_fault("/sys/power/state:write:EBUSY"),
            success_that_leaves(EBUSY)),
        row("watchdog_enable", "negative_timeout", call(watchdog_enable, -1), fails_with(EINVAL), prints(invalid),
            leaves({{"watchdog.running", "0"}})),
        row("watchdog_enable", "node_that_cannot_be_opened", call(watchdog_enable, 30),
            with_fault("/dev/watchdog:open:EBUSY"), fails_with(EBUSY), prints("Device or resource busy"),
            leaves({{"watchdog.running", "0"}})),
        row("watchdog_disable", "not_armed", call(watchdog_disable), fails_with(EINVAL), prints(invalid)),
        row("watchdog_refresh", "not_armed", call(watchdog_refresh), fails_with(EINVAL), prints(invalid)),
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

// ---- What a call comes to, and does to the hardware ----------------------------------------------------------------

class Functions : public testing::TestWithParam<Row> {};

TEST_P(Functions, HaveTheirResultAndTheirEffect) {
    const Row& row = GetParam();
    proves(row.function, row.kind());
    for (const auto& [name, value] : row.before) hardware({"set", name, value});
    std::optional<families::Fault> fault;
    if (!row.fault.empty()) fault.emplace(row.fault);
    const ChildResult child = run_in_child(row.call);
    EXPECT_EQ(child.output, row.result);
    EXPECT_EQ(child.error_text, row.error_text());
    for (const auto& [name, value] : row.afterwards) EXPECT_EQ(hardware({"get", name}), value) << name;
}

INSTANTIATE_TEST_SUITE_P(All, Functions, testing::ValuesIn(rows([](const Row&) { return true; })), name_of);

TEST(Power, SuspendWritesMemAndReturns) {
    proves("power_suspend", Kind::good);
    const int before = std::stoi(hardware({"get", "power.suspended"}));
    const ChildResult child = run_in_child(call_of("power_suspend"));
    EXPECT_EQ(child.output, succeeds());
    EXPECT_EQ(child.error_text, "");
    EXPECT_EQ(std::stoi(hardware({"get", "power.suspended"})), before + 1);
}

// The unit's ends were brought about before: the runs on the device ended with them.
TEST(Power, ShutdownRunsTheProgramThatPowersTheUnitOff) {
    proves("power_shutdown", Kind::good);
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_SHUTDOWN"), "122");
}

TEST(Power, RebootRunsTheProgramThatRestartsTheUnit) {
    proves("power_reboot", Kind::good);
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_REBOOT"), "121");
}

TEST(Watchdog, IsArmedFedAndDisarmed) {
    for (const char* function : {"watchdog_enable", "watchdog_refresh", "watchdog_disable"})
        proves(function, Kind::good);
    const ChildResult child = run_in_child([] {
        const auto state = [](const std::string& name) { return hardware({"get", "watchdog." + name}); };
        const std::string armed =
            joined({answer([] { return watchdog_enable(30); }), state("running"), state("timeout")});
        const int before = std::stoi(state("feedings"));
        const std::string fed = answer(watchdog_refresh);
        const int feedings = std::stoi(state("feedings")) - before;
        return joined({armed, fed, std::to_string(feedings), answer(watchdog_disable)});
    });
    EXPECT_EQ(child.output, joined({succeeds(), "1", "30", succeeds(), "1", succeeds()}));
    EXPECT_EQ(child.error_text, "");
    EXPECT_EQ(hardware({"get", "watchdog.running"}), "0");
}

// The node is closed in any case, and disarmed: nothing is reported.
TEST(Watchdog, IsDisarmedThoughTheCloseFails) {
    proves("watchdog_disable", Kind::bad_input);
    const families::Fault fault("/dev/watchdog:close:EIO");
    const ChildResult child = run_in_child([] {
        return watchdog_enable(30), joined({answer(watchdog_disable), answer(watchdog_disable)});
    });
    EXPECT_EQ(child.output, joined({success_that_leaves(EIO), fails_with(EINVAL)}));
    EXPECT_EQ(child.error_text, failed("watchdog_disable", invalid));
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

/** The acts of a step that fails in this phase: no more than a close follows. */
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
    void TearDown() override { give_lines_back(); }

    static Recording record(const Recorder& recorder = {}) {
        return families::record(GetParam().before, GetParam().call, recorder);
    }
};

TEST_P(RecordedFunctions, MakeTheseActs) {
    proves(GetParam().function, GetParam().kind());
    Acts expected;
    for (const Step& step : *GetParam().steps) expected = in_order({expected, step.acts()});
    const Recording recording = record();
    EXPECT_EQ(recording.output, GetParam().result);
    EXPECT_EQ(recording.error_text, GetParam().error_text());
    EXPECT_THAT(recording.acts, ElementsAreArray(expected));
}

class FailingFunctions : public RecordedFunctions {
protected:
    /** The acts end like this, and the last errno is this one. */
    static void expect_failure(const Recorder& recorder, int error, const std::string& cause, const Acts& acts) {
        const Recording recording = record(recorder);
        give_lines_back();
        EXPECT_EQ(recording.output, GetParam().result.failing(-1, error));
        EXPECT_EQ(recording.error_text, failed(GetParam().function, cause));
        EXPECT_THAT(recording.acts, ElementsAreArray(acts));
    }
};

// Every open, transfer and close in turn; and where something follows a failure, every phase of that too. The first
// failure is the one that is reported, errno is the last one's.
TEST_P(FailingFunctions, EndWithTheActThatFails) {
    proves(GetParam().function, Kind::bad_input);
    const Acts start = record().start;
    give_lines_back();
    Acts before;
    for (const Step& step : *GetParam().steps) {
        const auto nth = [&](const std::string& act) { return count(start, act) + count(before, act) + 1; };
        for (const Phase phase : phases) {
            const std::string act = act_of(step, phase);
            const testing::ScopedTrace where(__FILE__, __LINE__, act);
            const std::string cause = step.is_read() && phase == Phase::transfer ? read_failure : stream_failure;
            const Recorder recorder = Recorder().fail(act, EIO, nth(act));
            Acts expected = in_order({before, failing(step, phase, EIO)});
            for (const Step& next : step.recovery) {
                for (const Phase again : phases) {
                    const std::string second = act_of(next, again);
                    const testing::ScopedTrace and_then(__FILE__, __LINE__, second);
                    expect_failure(Recorder(recorder).fail(second, ENOSPC, nth(second)), ENOSPC, cause,
                                   in_order({expected, failing(next, again, ENOSPC)}));
                }
                expected = in_order({expected, next.acts()});
            }
            expect_failure(recorder, EIO, cause, expected);
        }
        before = in_order({before, step.acts()});
    }
}

INSTANTIATE_TEST_SUITE_P(All, RecordedFunctions,
                         testing::ValuesIn(rows([](const Row& row) { return row.steps.has_value(); })), name_of);
INSTANTIATE_TEST_SUITE_P(All, FailingFunctions, testing::ValuesIn(rows([](const Row& row) {
                             return row.steps.has_value() && !row.steps->empty();
                         })),
                         name_of);

// ---- Null pointers -------------------------------------------------------------------------------------------------

class NullPointer : public testing::TestWithParam<NullCall> {};

TEST_P(NullPointer, IsInvalidAndPrintsNothing) {
    proves(GetParam().function, Kind::bad_input);
    const ChildResult child = run_in_child(GetParam().call);
    EXPECT_EQ(child.output, fails_with(EINVAL));
    EXPECT_EQ(child.error_text, "");
}

INSTANTIATE_TEST_SUITE_P(Functions, NullPointer, testing::ValuesIn(null_calls()),
                         [](const auto& instance) { return instance.param.name(); });

// ---- What is not there ---------------------------------------------------------------------------------------------

bool has_output(const std::string& function) {
    return (function.ends_with("_get") || function.ends_with("_has") || function.ends_with("_open")) &&
           function != "platform_info_get";
}

CallResult not_supported_result(const std::string& function) {
    return fails_with(EOPNOTSUPP, has_output(function) ? untouched : "");
}

/** What is printed on a board without the family. Those that say whether there is one, and those that need none, work.
 */
std::string printed_without(const std::string& function) {
    if (function.ends_with("_present")) return "0: false\n";
    if (function == "mrfi_class_get") return "0: 4660\n";
    if (function.find("_list_read") != std::string::npos || function.find("_list_close") != std::string::npos) {
        const bool reads = function.ends_with("_read");
        return failed(function, "enumeration context not valid") + (reads ? "-1: untouched\n" : "-1\n");
    }
    return failed(function, not_supported) + std::string(not_supported_result(function)) + "\n";
}

class BoardOfNoFamily : public testing::TestWithParam<std::string> {};

TEST_P(BoardOfNoFamily, DoesNotSupportTheFunction) {
    proves(GetParam(), Kind::absent);
    EXPECT_EQ(output_of(VELMOR_CHOSEN_BOARD, {VELMOR_CALL_FUNCTION, GetParam()}), printed_without(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Functions, BoardOfNoFamily, testing::ValuesIn(testing_support::exported_functions()),
                         [](const auto& instance) { return instance.param; });

struct Family {
    std::vector<std::string> functions;
    std::vector<int> missing;  // beside those that no family has
};

class MissingIndex : public testing::TestWithParam<Family> {};

TEST_P(MissingIndex, IsNotSupportedAndPrintsOneLine) {
    std::vector<int> indices = {-1, INT_MIN, INT_MAX, INT_MAX - 50};
    indices.insert(indices.end(), GetParam().missing.begin(), GetParam().missing.end());
    for (const std::string& function : GetParam().functions) {
        proves(function, Kind::absent);
        for (const int index : indices) {
            const ChildResult child = run_in_child(call_of(function, index));
            EXPECT_EQ(child.output, not_supported_result(function)) << function << index;
            EXPECT_EQ(child.error_text, failed(function, not_supported)) << function << index;
        }
    }
}

// A line that is no PWM has no programme; an index behind a family's last is often the next family's key.
INSTANTIATE_TEST_SUITE_P(Functions, MissingIndex,
                         testing::Values(Family{{"led_color_set", "led_color_get", "serial_mux"}, {1, 2}},
                                         Family{{"io_set", "io_get"}, {3, 8, 10, 12}},
                                         Family{{"io_config_set", "io_config_get"}, {1, 2, 3, 9, 11}},
                                         Family{
                                             {"backlight_set", "backlight_get", "display_set", "display_get",
                                              "thermal_state_get", "mrfi_rssi_get", "mrfi_type_get", "mrfi_address_get",
                                              "mrfi_autolink_set", "mrfi_autolink_get", "mrfi_link", "mrfi_unlink",
                                              "mrfi_connection_list_open", "mrfi_device_list_open",
                                              "serial_device_info_get", "serial_alt_func_has", "serial_alt_func_set"},
                                             {2, 3}}),
                         [](const auto& instance) { return instance.param.functions.front(); });

}  // namespace
