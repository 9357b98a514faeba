// SPDX-License-Identifier: MIT
// Every exported function on the board that has every family: what it does to the hardware, what it makes of bad input
// and of a driver that refuses, and what it answers where its hardware is missing.

#include <gmock/gmock.h>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "families/calls.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/null_calls.h"
#include "support/scenario.h"
#include "velmor.h"

using families::calls;
using families::hardware;
using families::Kind;
using families::output_of;
using testing_support::answer;
using testing_support::ChildResult;
using testing_support::failed;
using testing_support::joined;
using testing_support::not_supported;
using testing_support::null_calls;
using testing_support::NullCall;
using testing_support::Out;
using testing_support::run_in_child;
using testing_support::Scenario;
using testing_support::stream_failure;

namespace {

struct Value {
    std::string name;
    std::string text;
};

struct Row {
    std::string function;
    std::string what;
    Scenario call;
    std::string output;
    std::vector<Value> before = {};
    std::vector<Value> afterwards = {};
    std::string cause = {};  // of the failure line
    std::string fault = {};  // of the driver
};

std::string name_of(const testing::TestParamInfo<Row>& instance) {
    return instance.param.function + "_" + instance.param.what;
}

void check(const Row& row) {
    for (const auto& [name, text] : row.before) hardware({"set", name, text});
    std::optional<families::Fault> fault;
    if (!row.fault.empty()) fault.emplace(row.fault);
    const ChildResult child = run_in_child(row.call);
    EXPECT_EQ(child.output, row.output);
    EXPECT_EQ(child.error_text, row.cause.empty() ? "" : failed(row.function, row.cause));
    for (const auto& [name, text] : row.afterwards) EXPECT_EQ(hardware({"get", name}), text) << name;
}

template <typename Call>
Scenario telling(Call call) {
    return [call] { return answer(call); };
}

template <typename T, typename Call>
Scenario asking(Call call) {
    return [call] {
        Out<T> out;
        return answer([&] { return call(out); }, out);
    };
}

/** The call that is known by this name, with this index. */
Scenario known(const std::string& function, int index = 0) {
    return [function, index] { return calls().at(function)(index); };
}

const mrfi_addr_t new_peer = {{0x01, 0x00, 0xab, 0x00}};
const mrfi_addr_t known_peer = {{0x02, 0x00, 0x34, 0x12}};
const led_color_t some_color = {255, 0, 16};
const led_color_t too_green = {0, 256, 0};
const io_config_t some_config = {25, 1000};
const io_config_t too_fast = {50, 2000001};

/** How many entries a list has, and what is answered after them. */
template <typename Entry>
Scenario reading(int (*open)(int, mrfi_enum_ctx**), int (*read)(mrfi_enum_ctx*, Entry*), int (*close)(mrfi_enum_ctx*),
                 int index) {
    return [=] {
        mrfi_enum_ctx* list = nullptr;
        std::string text = answer([&] { return open(index, &list); });
        if (list == nullptr) return text + " without a list";
        for (int i = 0; i < 4; ++i) {
            Out<Entry> entry;
            text += ", " + answer([&] { return read(list, entry); }, entry);
        }
        return text + ", " + answer([&] { return close(list); });
    };
}

Scenario connections(int index) {
    return reading(mrfi_connection_list_open, mrfi_connection_list_read, mrfi_connection_list_close, index);
}

Scenario devices(int index) {
    return reading(mrfi_device_list_open, mrfi_device_list_read, mrfi_device_list_close, index);
}

// ---- What works ----------------------------------------------------------------------------------------------------

constexpr char two_connections[] = "0x12340001 1f 2 -60 1 0;0x12340002 a 3 -71 0 1";
constexpr char two_connections_shown[] = "0x12340001 1f 2 -60 1 0\n0x12340002 a 3 -71 0 1";
constexpr char two_devices[] = "0x12340001 3 7 n/a;0x12340002 4 1 pump";
// Value 0x5A fills the entries beforehand: the reserved bits of the first byte, 22, stay.
constexpr char connections_told[] =
    "0, 1: 31 2 196 10 22 1 0 34 12 , 1: 10 3 185 01 22 2 0 34 12 , 0: untouched, 0: untouched, 0";
constexpr char devices_told[] = "0, 1: 3 7  1 0 34 12 , 1: 4 1 pump 2 0 34 12 , 0: untouched, 0: untouched, 0";
constexpr char no_entries[] = "0, 0: untouched, 0: untouched, 0: untouched, 0: untouched, 0";

std::vector<Row> good_rows() {
    return {
        {"backlight_set",
         "of_the_class_device",
         telling([] { return backlight_set(0, 128); }),
         "0",
         {{"backlight.brightness", "7"}, {"pwm2.duty", "100000"}, {"pwm2.status", "0"}},
         {{"backlight.brightness", "4"}, {"pwm2.duty", "100000"}, {"pwm2.status", "0"}}},
        {"backlight_set",
         "of_the_pwm",
         telling([] { return backlight_set(1, 128); }),
         "0",
         {{"backlight.brightness", "7"}, {"pwm2.duty", "100000"}, {"pwm2.status", "0"}},
         {{"backlight.brightness", "7"}, {"pwm2.duty", "500000"}, {"pwm2.status", "1"}}},
        {"backlight_set",
         "off",
         [] {
             return joined({answer([] { return backlight_set(0, 0); }), answer([] { return backlight_set(1, 0); })});
         },
         "0, 0",
         {{"backlight.brightness", "7"}, {"pwm2.duty", "100000"}, {"pwm2.status", "1"}},
         {{"backlight.brightness", "0"}, {"pwm2.duty", "100000"}, {"pwm2.status", "0"}}},
        {"backlight_get", "of_the_class_device", known("backlight_get", 0), "0: 128", {{"backlight.brightness", "4"}}},
        {"backlight_get",
         "of_the_pwm",
         known("backlight_get", 1),
         "0: 127",
         {{"pwm2.period", "1000000"}, {"pwm2.duty", "500000"}, {"pwm2.status", "1"}}},
        {"display_set",
         "first_off",
         telling([] { return display_set(0, 0); }),
         "0",
         {{"display.blank", "0"}, {"display1.blank", "0"}},
         {{"display.blank", "1"}, {"display1.blank", "0"}}},
        {"display_set",
         "second_on",
         telling([] { return display_set(1, 1); }),
         "0",
         {{"display.blank", "1"}, {"display1.blank", "1"}},
         {{"display.blank", "1"}, {"display1.blank", "0"}}},
        {"display_get", "first", known("display_get", 0), "0: true", {{"display.blank", "4"}, {"display1.blank", "1"}}},
        {"display_get",
         "second",
         known("display_get", 1),
         "0: false",
         {{"display.blank", "0"}, {"display1.blank", "1"}}},
        {"led_color_set",
         "color",
         telling([] { return led_color_set(0, &some_color); }),
         "0",
         {{"keypad.color", "1 2 3"}},
         {{"keypad.color", "255 0 16"}}},
        {"led_color_get", "color", known("led_color_get"), "0: 9 128 255", {{"keypad.color", "9 128 255"}}},
        {"io_set", "gpio_output", telling([] { return io_set(1, 1); }), "0", {}, {{"gpio.37", "1"}}},
        {"io_set", "gpio_output_low", telling([] { return io_set(1, 0); }), "0", {}, {{"gpio.37", "0"}}},
        {"io_set", "attribute", known("io_set", 9), "0", {{"gps.enable", "0"}}, {{"gps.enable", "1"}}},
        {"io_set", "pwm", known("io_set", 0), "0", {{"pwm1.status", "0"}}, {{"pwm1.status", "1"}}},
        {"io_get", "gpio_input_high", known("io_get", 2), "0: 1", {{"gpio.38", "1"}}},
        {"io_get", "gpio_input_low", known("io_get", 2), "0: 0", {{"gpio.38", "0"}}},
        {"io_get", "attribute", known("io_get", 11), "0: 1", {{"echosounder.reset", "1"}}},
        {"io_get", "pwm", known("io_get", 0), "0: 1", {{"pwm1.status", "1"}}},
        {"io_config_set",
         "pwm",
         telling([] { return io_config_set(0, &some_config); }),
         "0",
         {},
         {{"pwm1.period", "1000000"}, {"pwm1.duty", "250000"}}},
        {"io_config_get", "pwm", known("io_config_get", 0), "0: 2700 Hz 50 %"},
        {"thermal_state_get",
         "first_zone",
         known("thermal_state_get", 0),
         "0: 91000 60000 75000 85000 95000",
         {{"thermal.temp", "91000"}, {"thermal1.temp", "-5000"}}},
        {"thermal_state_get",
         "second_zone_with_its_trips_in_another_order",
         known("thermal_state_get", 1),
         "0: -5000 55000 80000 95000 105000",
         {{"thermal.temp", "91000"}, {"thermal1.temp", "-5000"}}},
        {"wifi_antenna_set", "second", telling([] { return wifi_antenna_set(1); }), "0", {}, {{"gpio.40", "1"}}},
        {"wifi_antenna_set", "first", telling([] { return wifi_antenna_set(0); }), "0", {}, {{"gpio.40", "0"}}},
        {"wifi_present", "fitted", known("wifi_present"), "0: true"},
        {"wifi_info_get", "fitted", known("wifi_info_get"), "0: wlan0 3"},
        {"bluetooth_antenna_set",
         "second",
         telling([] { return bluetooth_antenna_set(1); }),
         "0",
         {},
         {{"gpio.41", "1"}}},
        {"bluetooth_antenna_set",
         "first",
         telling([] { return bluetooth_antenna_set(0); }),
         "0",
         {},
         {{"gpio.41", "0"}}},
        {"bluetooth_present", "fitted", known("bluetooth_present"), "0: true"},
        {"bluetooth_info_get", "fitted", known("bluetooth_info_get"), "0: hci0 3"},
        {"watchdog_enable",
         "arms",
         [] {
             const std::string armed = answer([] { return watchdog_enable(30); });
             const std::string state = hardware({"get", "watchdog.running"}) + hardware({"get", "watchdog.timeout"});
             watchdog_disable();
             return armed + ", " + state;
         },
         "0, 130",
         {},
         {{"watchdog.running", "0"}}},
        {"watchdog_disable",
         "disarms",
         [] { return watchdog_enable(30), answer([] { return watchdog_disable(); }); },
         "0",
         {},
         {{"watchdog.running", "0"}}},
        {"watchdog_refresh", "feeds",
         [] {
             watchdog_enable(30);
             const int before = std::stoi(hardware({"get", "watchdog.feedings"}));
             const std::string fed = answer([] { return watchdog_refresh(); });
             const int after = std::stoi(hardware({"get", "watchdog.feedings"}));
             watchdog_disable();
             return fed + ", " + std::to_string(after - before);
         },
         "0, 1"},
        {"platform_info_get", "versions_and_serial_number",
         [] {
             platform_info_t info = {};
             const std::string text = answer([&] { return platform_info_get(&info, sizeof info); });
             return text + ": " + info.serial_number + " " + std::to_string(info.os_date_year) + " " +
                    std::to_string(info.fs_version_build) + " " + std::to_string(info.splash_version_major) + " " +
                    info.boot_version_status;
         },
         "0: AB12C0FFEE 2026 17 2 R"},
        {"platform_uid_get", "of_the_table", known("platform_uid_get"), "0: 4660"},
        {"platform_oemid_get", "of_the_table", known("platform_oemid_get"), "0: 5"},
        {"platform_mid_get", "of_the_table", known("platform_mid_get"), "0: 42"},
        {"platform_can_manuf_code_get", "of_the_table", known("platform_can_manuf_code_get"), "0: 557"},
        {"platform_can_unique_num_get", "of_the_table", known("platform_can_unique_num_get"), "0: 74565"},
        {"mrfi_rssi_get", "first", known("mrfi_rssi_get", 0), "0: -57", {{"mrfi0.rssi", "-57"}, {"mrfi1.rssi", "-90"}}},
        {"mrfi_rssi_get",
         "second",
         known("mrfi_rssi_get", 1),
         "0: -90",
         {{"mrfi0.rssi", "-57"}, {"mrfi1.rssi", "-90"}}},
        {"mrfi_type_get", "first", known("mrfi_type_get", 0), "0: 3", {{"mrfi0.type", "3"}, {"mrfi1.type", "1"}}},
        {"mrfi_type_get", "second", known("mrfi_type_get", 1), "0: 1", {{"mrfi0.type", "3"}, {"mrfi1.type", "1"}}},
        {"mrfi_address_get", "first", known("mrfi_address_get", 0), "0: 4d 3c 2b 1a "},
        {"mrfi_address_get", "second", known("mrfi_address_get", 1), "0: 1 0 ab 0 "},
        {"mrfi_autolink_set",
         "on",
         telling([] { return mrfi_autolink_set(0, 1); }),
         "0",
         {{"mrfi0.autolink", "0"}, {"mrfi1.autolink", "0"}},
         {{"mrfi0.autolink", "1"}, {"mrfi1.autolink", "0"}}},
        {"mrfi_autolink_set",
         "off_on_the_second",
         telling([] { return mrfi_autolink_set(1, 0); }),
         "0",
         {{"mrfi0.autolink", "1"}, {"mrfi1.autolink", "1"}},
         {{"mrfi0.autolink", "1"}, {"mrfi1.autolink", "0"}}},
        {"mrfi_autolink_set",
         "low_eight_bits_count",
         telling([] { return mrfi_autolink_set(0, 256); }),
         "0",
         {{"mrfi0.autolink", "1"}},
         {{"mrfi0.autolink", "0"}}},
        {"mrfi_autolink_get",
         "first",
         known("mrfi_autolink_get", 0),
         "0: false",
         {{"mrfi0.autolink", "0"}, {"mrfi1.autolink", "1"}}},
        {"mrfi_autolink_get",
         "second",
         known("mrfi_autolink_get", 1),
         "0: true",
         {{"mrfi0.autolink", "0"}, {"mrfi1.autolink", "1"}}},
        {"mrfi_link",
         "new_peer",
         telling([] { return mrfi_link(1, &new_peer); }),
         "0",
         {{"mrfi0.connections", ""}, {"mrfi1.connections", ""}, {"mrfi1.rssi", "-90"}},
         {{"mrfi0.connections", ""}, {"mrfi1.connections", "0xab0001 0 0 -90 1 0"}}},
        {"mrfi_unlink",
         "known_peer",
         telling([] { return mrfi_unlink(0, &known_peer); }),
         "0",
         {{"mrfi0.connections", two_connections}, {"mrfi1.connections", two_connections}},
         {{"mrfi0.connections", "0x12340001 1f 2 -60 1 0"}, {"mrfi1.connections", two_connections_shown}}},
        {"mrfi_connection_list_open",
         "two",
         connections(0),
         connections_told,
         {{"mrfi0.connections", two_connections}}},
        {"mrfi_connection_list_open", "none", connections(1), no_entries, {{"mrfi1.connections", ""}}},
        {"mrfi_connection_list_read",
         "two",
         connections(1),
         connections_told,
         {{"mrfi1.connections", two_connections}}},
        {"mrfi_connection_list_close", "none", connections(0), no_entries, {{"mrfi0.connections", ""}}},
        {"mrfi_device_list_open", "two", devices(0), devices_told, {{"mrfi0.devices", two_devices}}},
        {"mrfi_device_list_open", "none", devices(1), no_entries, {{"mrfi1.devices", ""}}},
        {"mrfi_device_list_read", "two", devices(1), devices_told, {{"mrfi1.devices", two_devices}}},
        {"mrfi_device_list_close", "none", devices(0), no_entries, {{"mrfi0.devices", ""}}},
        {"mrfi_class_get", "of_an_address", known("mrfi_class_get"), "0: 4660"},
        {"attitude_get",
         "axes",
         known("attitude_get"),
         "0: -2048 34 2047",
         {{"attitude.x", "-2048"}, {"attitude.y", "34"}, {"attitude.z", "2047"}}},
        {"car_motion_get",
         "forwards",
         known("car_motion_get"),
         "0: 50 forwards",
         {{"motion.x", "50"}, {"motion.rx", "0"}}},
        {"car_motion_get",
         "backwards",
         known("car_motion_get"),
         "0: 50 backwards",
         {{"motion.x", "50"}, {"motion.rx", "-1"}}},
        {"serial_mux",
         "third_connector",
         telling([] { return serial_mux(0, 2); }),
         "0",
         {},
         {{"gpio.42", "1"}, {"gpio.43", "1"}}},
        {"serial_mux",
         "second_connector",
         telling([] { return serial_mux(0, 1); }),
         "0",
         {},
         {{"gpio.42", "1"}, {"gpio.43", "0"}}},
        {"serial_mux",
         "first_connector",
         telling([] { return serial_mux(0, 0); }),
         "0",
         {},
         {{"gpio.42", "0"}, {"gpio.43", "0"}}},
        {"serial_device_info_get", "first", known("serial_device_info_get", 0), "0: /dev/ttymxc4 9600 0"},
        {"serial_device_info_get", "second", known("serial_device_info_get", 1), "0: /dev/ttymxc3 38400 0"},
        {"serial_alt_func_has", "key", known("serial_alt_func_has", 0), "0: true"},
        {"serial_alt_func_has", "no_key", known("serial_alt_func_has", 1), "0: false"},
        {"serial_alt_func_set",
         "serial",
         known("serial_alt_func_set", 0),
         "0",
         {{"keys.disabled_keys", "102"}},
         {{"keys.disabled_keys", "31,102"}}},
        {"serial_alt_func_set",
         "key",
         telling([] { return serial_alt_func_set(0, SERIAL_ALT_FUNC_KEY); }),
         "0",
         {{"keys.disabled_keys", "31"}},
         {{"keys.disabled_keys", ""}}},
        {"gps_info_get", "fitted", known("gps_info_get"), "0: 1 1"},
        {"es_present", "fitted", known("es_present"), "0: true"},
    };
}

class Good : public testing::TestWithParam<Row> {};

TEST_P(Good, DoesItAndPrintsNothing) {
    families::proves(GetParam().function, Kind::good);
    check(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Functions, Good, testing::ValuesIn(good_rows()), name_of);

TEST(Power, SuspendWritesMemAndReturns) {
    families::proves("power_suspend", Kind::good);
    const int before = std::stoi(hardware({"get", "power.suspended"}));
    const ChildResult child = run_in_child(known("power_suspend"));
    EXPECT_EQ(child.output, "0");
    EXPECT_EQ(child.error_text, "");
    EXPECT_EQ(std::stoi(hardware({"get", "power.suspended"})), before + 1);
}

// The unit's ends were brought about before: the runs on the device ended with them.
TEST(Power, ShutdownRunsTheProgramThatPowersTheUnitOff) {
    families::proves("power_shutdown", Kind::good);
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_SHUTDOWN"), "122");
}

TEST(Power, RebootRunsTheProgramThatRestartsTheUnit) {
    families::proves("power_reboot", Kind::good);
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_REBOOT"), "121");
}

// ---- Bad input, and drivers that refuse ----------------------------------------------------------------------------

class NullPointer : public testing::TestWithParam<NullCall> {};

TEST_P(NullPointer, IsInvalidAndPrintsNothing) {
    families::proves(GetParam().function, Kind::bad_input);
    const ChildResult child = run_in_child(telling(GetParam().call));
    EXPECT_EQ(child.output, "-22 errno 22");
    EXPECT_EQ(child.error_text, "");
}

INSTANTIATE_TEST_SUITE_P(Functions, NullPointer, testing::ValuesIn(null_calls()),
                         [](const auto& instance) { return instance.param.name(); });

std::vector<Row> bad_rows() {
    const std::string no_direction = "GPIO direction not valid";
    return {
        {"backlight_set",
         "above_the_range",
         telling([] { return backlight_set(0, 256); }),
         "-1",
         {{"backlight.brightness", "7"}},
         {{"backlight.brightness", "7"}},
         "backlight brightness out of range"},
        {"backlight_set",
         "above_the_range_of_the_pwm",
         telling([] { return backlight_set(1, 256); }),
         "-1",
         {{"pwm2.duty", "100000"}, {"pwm2.status", "0"}},
         {{"pwm2.duty", "100000"}, {"pwm2.status", "0"}},
         "backlight brightness out of range"},
        {"display_set",
         "refused",
         telling([] { return display_set(1, 0); }),
         "-1 errno 5",
         {{"display1.blank", "0"}},
         {{"display1.blank", "0"}},
         stream_failure,
         "/sys/class/graphics/fb1/blank:write:EIO"},
        // The driver has taken it by then.
        {"display_set",
         "close_that_fails",
         telling([] { return display_set(1, 0); }),
         "-1 errno 5",
         {{"display1.blank", "0"}},
         {{"display1.blank", "1"}},
         stream_failure,
         "/sys/class/graphics/fb1/blank:close:EIO"},
        {"backlight_get",
         "close_that_fails",
         known("backlight_get", 0),
         "-1 errno 5: untouched",
         {},
         {},
         stream_failure,
         "/sys/class/backlight/pwm-backlight.0/brightness:close:EIO"},
        {"led_color_set",
         "out_of_range",
         telling([] { return led_color_set(0, &too_green); }),
         "-1",
         {{"keypad.color", "1 2 3"}},
         {{"keypad.color", "1 2 3"}},
         "color out of range"},
        {"io_set",
         "input_line",
         telling([] { return io_set(2, 1); }),
         "-1",
         {{"gpio.38", "0"}},
         {{"gpio.38", "0"}},
         no_direction},
        {"io_set",
         "refused",
         known("io_set", 9),
         "-1 errno 16",
         {{"gps.enable", "0"}},
         {{"gps.enable", "0"}},
         stream_failure,
         "/sys/devices/platform/gps.0/enable:write:EBUSY"},
        {"io_get", "output_line", known("io_get", 1), "-1: untouched", {}, {}, no_direction},
        {"io_config_set",
         "too_fast",
         telling([] { return io_config_set(0, &too_fast); }),
         "-1",
         {},
         {{"pwm1.period", "370370"}, {"pwm1.duty", "185185"}},
         "PWM frequency out of range"},
        {"wifi_antenna_set",
         "line_that_is_in_use",
         known("wifi_antenna_set"),
         "-1 errno 16",
         {},
         {},
         stream_failure,
         "/sys/class/gpio/export:write:EBUSY"},
        {"bluetooth_antenna_set",
         "line_that_is_in_use",
         known("bluetooth_antenna_set"),
         "-1 errno 16",
         {},
         {},
         stream_failure,
         "/sys/class/gpio/export:write:EBUSY"},
        {"power_shutdown",
         "program_fails",
         known("power_shutdown"),
         "-3 errno 3",
         {{"poweroff.exit", "3"}},
         {},
         "No such process"},
        {"power_reboot",
         "program_fails",
         known("power_reboot"),
         "-1 errno 1",
         {{"reboot.exit", "1"}},
         {},
         "Operation not permitted"},
        // A refused suspend is not reported.
        {"power_suspend", "refused", known("power_suspend"), "0 errno 16", {}, {}, "", "/sys/power/state:write:EBUSY"},
        {"watchdog_enable",
         "negative_timeout",
         telling([] { return watchdog_enable(-1); }),
         "-22 errno 22",
         {},
         {{"watchdog.running", "0"}},
         "Invalid argument"},
        {"watchdog_enable",
         "node_that_cannot_be_opened",
         known("watchdog_enable"),
         "-16 errno 16",
         {},
         {{"watchdog.running", "0"}},
         "Device or resource busy",
         "/dev/watchdog:open:EBUSY"},
        // The node is closed in any case, and disarmed: nothing is reported.
        {"watchdog_disable",
         "close_that_fails",
         [] {
             return watchdog_enable(30), joined({answer(watchdog_disable), answer(watchdog_disable)});
         },
         "0 errno 5, -22 errno 22",
         {},
         {{"watchdog.running", "0"}},
         "Invalid argument",
         "/dev/watchdog:close:EIO"},
        {"watchdog_disable", "not_armed", known("watchdog_disable"), "-22 errno 22", {}, {}, "Invalid argument"},
        {"watchdog_refresh", "not_armed", known("watchdog_refresh"), "-22 errno 22", {}, {}, "Invalid argument"},
        {"mrfi_autolink_set",
         "refused",
         known("mrfi_autolink_set", 0),
         "-1 errno 5",
         {{"mrfi0.autolink", "0"}},
         {{"mrfi0.autolink", "0"}},
         stream_failure,
         "/sys/class/mrfi/mrfi0/autolink:write:EIO"},
        {"mrfi_link",
         "refused",
         known("mrfi_link", 0),
         "-1 errno 16",
         {{"mrfi0.connections", ""}},
         {{"mrfi0.connections", ""}},
         stream_failure,
         "/sys/class/mrfi/mrfi0/link:write:EBUSY"},
        {"mrfi_unlink",
         "unknown_peer",
         telling([] { return mrfi_unlink(0, &new_peer); }),
         "-1 errno 2",
         {{"mrfi0.connections", two_connections}},
         {{"mrfi0.connections", two_connections_shown}},
         stream_failure},
        {"attitude_get",
         "node_that_cannot_be_opened",
         known("attitude_get"),
         "-13 errno 13: untouched",
         {},
         {},
         "Permission denied",
         "/dev/input/event0:open:EACCES"},
        {"car_motion_get",
         "query_that_fails",
         known("car_motion_get"),
         "-5 errno 5: untouched",
         {},
         {},
         "Input/output error",
         "/dev/input/event1:ioctl:EIO"},
        {"serial_mux", "unknown_connector", telling([] { return serial_mux(0, 3); }), "-1", {}, {}, "Unsupported port"},
        {"serial_alt_func_set",
         "function_that_is_not_listed",
         telling([] { return serial_alt_func_set(0, 2); }),
         "-22 errno 22",
         {{"keys.disabled_keys", "102"}},
         {{"keys.disabled_keys", "102"}},
         "Invalid argument"},
        {"serial_alt_func_has",
         "driver_that_cannot_be_read",
         known("serial_alt_func_has", 0),
         "-1 errno 5: untouched",
         {},
         {},
         "basic_filebuf::underflow error reading the file: Input/output error",
         "/sys/devices/platform/gpio-keys/keys:read:EIO"},
    };
}

class Bad : public testing::TestWithParam<Row> {};

TEST_P(Bad, FailsAndPrintsOneLine) {
    families::proves(GetParam().function, Kind::bad_input);
    check(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Functions, Bad, testing::ValuesIn(bad_rows()), name_of);

// ---- What is not there ---------------------------------------------------------------------------------------------

std::string name_of_function(const testing::TestParamInfo<std::string>& instance) {
    return instance.param;
}

bool has_output(const std::string& function) {
    return (function.ends_with("_get") || function.ends_with("_has") || function.ends_with("_open")) &&
           function != "platform_info_get";
}

std::string absent(const std::string& function) {
    return std::string("-95 errno 95") + (has_output(function) ? ": untouched" : "");
}

/** What is printed on a board without the family. Those that say whether there is one, and those that need none, work.
 */
std::string told_without(const std::string& function) {
    if (function.ends_with("_present")) return "0: false\n";
    if (function == "mrfi_class_get") return "0: 4660\n";
    if (function.find("_list_read") != std::string::npos || function.find("_list_close") != std::string::npos) {
        const bool reads = function.ends_with("_read");
        return failed(function, "enumeration context not valid") + (reads ? "-1: untouched\n" : "-1\n");
    }
    return failed(function, not_supported) + absent(function) + "\n";
}

class BoardOfNoFamily : public testing::TestWithParam<std::string> {};

TEST_P(BoardOfNoFamily, DoesNotSupportTheFunction) {
    families::proves(GetParam(), Kind::absent);
    EXPECT_EQ(output_of(VELMOR_CHOSEN_BOARD, {VELMOR_CALL_FUNCTION, GetParam()}), told_without(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Functions, BoardOfNoFamily, testing::ValuesIn(families::exported_functions()),
                         name_of_function);

class DevicesOwnBoard : public testing::TestWithParam<std::string> {};

TEST_P(DevicesOwnBoard, DoesNotHaveTheFamily) {
    families::proves(GetParam(), Kind::absent);
    EXPECT_EQ(output_of(VELMOR_DEVICES_OWN_BOARD, {VELMOR_CALL_FUNCTION, GetParam()}), told_without(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Functions, DevicesOwnBoard,
                         testing::Values("led_color_set", "led_color_get", "wifi_antenna_set", "bluetooth_antenna_set",
                                         "mrfi_rssi_get", "mrfi_type_get", "mrfi_address_get", "mrfi_autolink_set",
                                         "mrfi_autolink_get", "mrfi_link", "mrfi_unlink", "mrfi_connection_list_open",
                                         "mrfi_device_list_open", "attitude_get", "car_motion_get", "serial_mux",
                                         "serial_alt_func_has", "serial_alt_func_set"),
                         name_of_function);

struct Missing {
    std::string function;
    std::vector<int> indices;
};

class MissingIndex : public testing::TestWithParam<Missing> {};

TEST_P(MissingIndex, IsNotSupportedAndPrintsOneLine) {
    families::proves(GetParam().function, Kind::absent);
    std::vector<int> indices = {-1, INT_MIN, INT_MAX, INT_MAX - 50};
    indices.insert(indices.end(), GetParam().indices.begin(), GetParam().indices.end());
    for (const int index : indices) {
        const ChildResult child = run_in_child(known(GetParam().function, index));
        EXPECT_EQ(child.output, absent(GetParam().function)) << index;
        EXPECT_EQ(child.error_text, failed(GetParam().function, not_supported)) << index;
    }
}

// A line that is no PWM has no programme; an index behind a family's last is often the next family's key.
INSTANTIATE_TEST_SUITE_P(
    Functions, MissingIndex,
    testing::Values(Missing{"backlight_set", {2, 3}}, Missing{"backlight_get", {2, 3}}, Missing{"display_set", {2, 3}},
                    Missing{"display_get", {2, 3}}, Missing{"led_color_set", {1, 2}}, Missing{"led_color_get", {1, 2}},
                    Missing{"io_set", {3, 8, 10, 12}}, Missing{"io_get", {3, 8, 10, 12}},
                    Missing{"io_config_set", {1, 2, 3, 9, 11}}, Missing{"io_config_get", {1, 2, 3, 9, 11}},
                    Missing{"thermal_state_get", {2, 3}}, Missing{"mrfi_rssi_get", {2, 3}},
                    Missing{"mrfi_type_get", {2, 3}}, Missing{"mrfi_address_get", {2, 3}},
                    Missing{"mrfi_autolink_set", {2, 3}}, Missing{"mrfi_autolink_get", {2, 3}},
                    Missing{"mrfi_link", {2, 3}}, Missing{"mrfi_unlink", {2, 3}},
                    Missing{"mrfi_connection_list_open", {2, 3}}, Missing{"mrfi_device_list_open", {2, 3}},
                    Missing{"serial_mux", {1, 2}}, Missing{"serial_device_info_get", {2, 3}},
                    Missing{"serial_alt_func_has", {2, 3}}, Missing{"serial_alt_func_set", {2, 3}}),
    [](const auto& instance) { return instance.param.function; });

}  // namespace
