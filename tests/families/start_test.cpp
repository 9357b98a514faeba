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

using families::call_of;
using families::hardware;
using families::Kind;
using families::output_of;
using families::proves;
using namespace testing_support;

namespace {

constexpr char no_board[] = "cannot initialize board data";

struct Board {
    std::string name;
    std::string function;
    CallResult result;
    std::string cause = {};  // of the failure line
    bool starts = true;
};

class ChosenBoard : public testing::TestWithParam<Board> {};

TEST_P(ChosenBoard, StartsOrSaysWhyNot) {
    const auto& [name, function, result, cause, starts] = GetParam();
    proves(function, result.result == 0 ? Kind::good : Kind::bad_input);
    std::string expected;
    if (!starts) expected = "cannot set board resources: " + cause + "\n";
    if (!cause.empty()) expected += failed(function, starts ? cause : no_board);
    EXPECT_EQ(output_of(VELMOR_CHOSEN_BOARD, {"env", "VELMOR_TEST_BOARD=" + name, VELMOR_CALL_FUNCTION, function}),
              expected + std::string(result) + "\n");
}

constexpr bool fails = false;
constexpr char too_long[] = "device name is too long";
constexpr char not_the_same_size[] = "IOs and MuxMap values must have the same size";

INSTANTIATE_TEST_SUITE_P(
    Boards, ChosenBoard,
    testing::Values(Board{"wifi_name_of_15", "wifi_info_get", succeeds("abcdefghijklmno 7")},
                    Board{"wifi_name_of_16", "wifi_info_get", refuses(untouched), too_long, fails},
                    Board{"bluetooth_name_of_15", "bluetooth_info_get", succeeds("abcdefghijklmno 7")},
                    Board{"bluetooth_name_of_16", "bluetooth_info_get", refuses(untouched), too_long, fails},
                    Board{"serial_name_of_15", "serial_device_info_get", succeeds("abcdefghijklmno 115200 1")},
                    Board{"serial_name_of_16", "serial_device_info_get", refuses(untouched), too_long, fails},
                    Board{"mux_row_too_long", "serial_mux", refuses(), not_the_same_size, fails},
                    Board{"mux_row_too_short", "serial_mux", refuses(), not_the_same_size, fails},
                    Board{"mux_without_rows", "serial_mux", refuses(), "Unsupported port"},
                    Board{"direction_in_capitals", "io_set", refuses(), "GPIO direction not valid", fails},
                    Board{"pwm_without_frequency", "io_config_get", refuses(untouched), "PWM frequency out of range",
                          fails},
                    Board{"pwm_above_100_percent", "backlight_set", refuses(), "PWM duty out of range", fails}),
    [](const auto& instance) { return instance.param.name; });

TEST(Start, ThatFailsIsReportedAndTriedAgain) {
    proves("backlight_get", Kind::bad_input);
    hardware({"set", "backlight.brightness", "4"});
    const ChildResult child = run_in_child([] {
        std::optional<families::Fault> fault("/sys/class/backlight/pwm-backlight.0/max_brightness:read:EIO");
        const std::string failed = call_of("backlight_get")();
        const std::string again = call_of("es_present")();
        fault.reset();
        return joined({failed, again, call_of("backlight_get")()});
    });
    EXPECT_EQ(child.output,
              joined({file_fails_with(EIO, untouched), file_fails_with(EIO, untouched), succeeds("128")}));
    const std::string reason = std::string("cannot set board resources: ") + read_failure + "\n";
    EXPECT_EQ(child.error_text, reason + failed("backlight_get", no_board) + reason + failed("es_present", no_board));
}

const std::string zone = "/sys/class/thermal/thermal_zone0/";

Acts zone_reads(const std::vector<std::string>& files) {
    Acts acts;
    for (const std::string& file : files) acts = in_order({acts, read_acts(zone + file)});
    return acts;
}

// The scan ends there without a word; every query fails later at the file without a name.
TEST(Start, ThermalZoneWithTwoTripPointsFailsItsQueries) {
    VELMOR_NEEDS_RECORDER();
    proves("thermal_state_get", Kind::bad_input);
    const ChildResult child = run_in_child(
        Recorder().watch({zone}).fail("open " + zone + "trip_point_2_type r", ENOENT), call_of("thermal_state_get"));
    EXPECT_EQ(child.output, file_fails_with(ENOENT, untouched));
    EXPECT_EQ(child.error_text, failed("thermal_state_get", stream_failure));
    EXPECT_THAT(child.acts,
                testing::ElementsAreArray(in_order({zone_reads({"trip_point_0_type", "trip_point_1_type"}),
                                                    {"open " + zone + "trip_point_2_type r = ENOENT"},
                                                    zone_reads({"temp", "trip_point_0_temp", "trip_point_1_temp"})})));
}

TEST(Start, OfTwoTripPointsOfOneKindTheLaterCounts) {
    VELMOR_NEEDS_RECORDER();
    proves("thermal_state_get", Kind::bad_input);
    hardware({"raw", zone + "trip_point_3_type", "active\\n"});
    const ChildResult child = run_in_child(Recorder().watch({zone}), call_of("thermal_state_get"));
    hardware({"raw", zone + "trip_point_3_type", "critical\\n"});
    EXPECT_EQ(child.output, file_fails_with(ENOENT, untouched));  // nothing is critical any more
    EXPECT_THAT(child.acts, testing::ElementsAreArray(zone_reads(
                                {"trip_point_0_type", "trip_point_1_type", "trip_point_2_type", "trip_point_3_type",
                                 "temp", "trip_point_3_temp", "trip_point_1_temp", "trip_point_2_temp"})));
}

TEST(Start, TripPointOfAnotherKindIsNeverReported) {
    proves("thermal_state_get", Kind::bad_input);
    const std::string type = zone + "trip_point_1_type";
    hardware({"raw", type, "passive\\n"});
    EXPECT_EQ(run_in_child(call_of("thermal_state_get")).output, file_fails_with(ENOENT, untouched));
    hardware({"raw", type, "hot\\n"});
}

}  // namespace
