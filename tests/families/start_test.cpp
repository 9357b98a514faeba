// SPDX-License-Identifier: MIT
// Boards whose start fails, or that are at a limit; and what a start makes of hardware that is not as it should be.

#include <gmock/gmock.h>
#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "families/calls.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/acts.h"
#include "support/recorder.h"
#include "support/scenario.h"

using families::calls;
using families::hardware;
using families::Kind;
using families::output_of;
using families::proves;
using testing_support::ChildResult;
using testing_support::joined;
using testing_support::Recorder;
using testing_support::run_in_child;

namespace {

struct Board {
    std::string name;
    std::string function;
    std::string output;
    std::string cause = {};  // of the failure line
    bool starts = true;
};

class ChosenBoard : public testing::TestWithParam<Board> {};

TEST_P(ChosenBoard, StartsOrSaysWhyNot) {
    const auto& [name, function, output, cause, starts] = GetParam();
    proves(function, output.starts_with("0") ? Kind::good : Kind::bad_input);
    std::string expected;
    if (!starts) expected = "cannot set board resources: " + cause + "\n";
    if (!cause.empty()) expected += function + " failed: " + (starts ? cause : "cannot initialize board data") + "\n";
    EXPECT_EQ(output_of(VELMOR_CHOSEN_BOARD, {"env", "VELMOR_TEST_BOARD=" + name, VELMOR_CALL_FUNCTION, function}),
              expected + output + "\n");
}

constexpr bool fails = false;
constexpr char too_long[] = "device name is too long";
constexpr char not_the_same_size[] = "IOs and MuxMap values must have the same size";

INSTANTIATE_TEST_SUITE_P(
    Boards, ChosenBoard,
    testing::Values(Board{"wifi_name_of_15", "wifi_info_get", "0: abcdefghijklmno 7"},
                    Board{"wifi_name_of_16", "wifi_info_get", "-1: untouched", too_long, fails},
                    Board{"bluetooth_name_of_15", "bluetooth_info_get", "0: abcdefghijklmno 7"},
                    Board{"bluetooth_name_of_16", "bluetooth_info_get", "-1: untouched", too_long, fails},
                    Board{"serial_name_of_15", "serial_device_info_get", "0: abcdefghijklmno 115200 1"},
                    Board{"serial_name_of_16", "serial_device_info_get", "-1: untouched", too_long, fails},
                    Board{"mux_row_too_long", "serial_mux", "-1", not_the_same_size, fails},
                    Board{"mux_row_too_short", "serial_mux", "-1", not_the_same_size, fails},
                    Board{"mux_without_rows", "serial_mux", "-1", "Unsupported port"},
                    Board{"direction_in_capitals", "io_set", "-1", "GPIO direction not valid", fails},
                    Board{"pwm_without_frequency", "io_config_get", "-1: untouched", "PWM frequency out of range",
                          fails},
                    Board{"pwm_above_100_percent", "backlight_set", "-1", "PWM duty out of range", fails}),
    [](const auto& instance) { return instance.param.name; });

TEST(Start, ThatFailsIsReportedAndTriedAgain) {
    proves("backlight_get", Kind::bad_input);
    hardware({"set", "backlight.brightness", "4"});
    const ChildResult child = run_in_child([] {
        std::optional<families::Fault> fault("/sys/class/backlight/pwm-backlight.0/max_brightness:read:EIO");
        const std::string failed = calls().at("backlight_get")(0);
        const std::string again = calls().at("es_present")(0);
        fault.reset();
        return joined({failed, again, calls().at("backlight_get")(0)});
    });
    EXPECT_EQ(child.output, "-1 errno 5: untouched, -1 errno 5: untouched, 0: 128");
    const std::string reason =
        "cannot set board resources: basic_filebuf::underflow error reading the file: Input/output error\n";
    EXPECT_EQ(child.error_text, reason + "backlight_get failed: cannot initialize board data\n" + reason +
                                    "es_present failed: cannot initialize board data\n");
}

// The scan ends there without a word; every question fails later at the file without a name.
TEST(Start, ThermalZoneWithTwoTripPointsFailsWhenItIsAsked) {
    VELMOR_NEEDS_RECORDER();
    proves("thermal_state_get", Kind::bad_input);
    const std::string zone = "/sys/class/thermal/thermal_zone0/";
    const ChildResult child =
        run_in_child(Recorder().watch({zone}).fail("open " + zone + "trip_point_2_type r", ENOENT),
                     [] { return calls().at("thermal_state_get")(0); });
    EXPECT_EQ(child.output, "-1 errno 2: untouched");
    EXPECT_EQ(child.error_text, "thermal_state_get failed: basic_ios::clear: iostream error\n");
    testing_support::Acts expected;
    for (const std::string file : {"trip_point_0_type", "trip_point_1_type"})
        expected = testing_support::in_order({expected, testing_support::read_acts(zone + file)});
    expected.push_back("open " + zone + "trip_point_2_type r = ENOENT");
    for (const std::string file : {"temp", "trip_point_0_temp", "trip_point_1_temp"})
        expected = testing_support::in_order({expected, testing_support::read_acts(zone + file)});
    EXPECT_THAT(child.acts, testing::ElementsAreArray(expected));
}

TEST(Start, OfTwoTripPointsOfOneKindTheLaterCounts) {
    VELMOR_NEEDS_RECORDER();
    proves("thermal_state_get", Kind::bad_input);
    const std::string zone = "/sys/class/thermal/thermal_zone0/";
    hardware({"raw", zone + "trip_point_3_type", "active\\n"});
    const ChildResult child = run_in_child(Recorder().watch({zone}), [] { return calls().at("thermal_state_get")(0); });
    hardware({"raw", zone + "trip_point_3_type", "critical\\n"});
    EXPECT_EQ(child.output, "-1 errno 2: untouched");  // nothing is critical any more
    testing_support::Acts expected;
    for (const std::string file : {"trip_point_0_type", "trip_point_1_type", "trip_point_2_type", "trip_point_3_type",
                                   "temp", "trip_point_3_temp", "trip_point_1_temp", "trip_point_2_temp"})
        expected = testing_support::in_order({expected, testing_support::read_acts(zone + file)});
    EXPECT_THAT(child.acts, testing::ElementsAreArray(expected));
}

TEST(Start, TripPointOfAnotherKindIsNeverReported) {
    proves("thermal_state_get", Kind::bad_input);
    const std::string type = "/sys/class/thermal/thermal_zone0/trip_point_1_type";
    hardware({"raw", type, "passive\\n"});
    EXPECT_EQ(run_in_child([] { return calls().at("thermal_state_get")(0); }).output, "-1 errno 2: untouched");
    hardware({"raw", type, "hot\\n"});
}

}  // namespace
