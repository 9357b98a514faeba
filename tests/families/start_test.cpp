// SPDX-License-Identifier: MIT
// Boards that fail to start or are at a limit, and the start on hardware that is not as it should be.

#include <optional>

#include "families/families_test.h"

using testing::ElementsAreArray;
using namespace families;
using namespace testing_support;

namespace {

// ---- Chosen boards -------------------------------------------------------------------------------------------------

struct Board {
    std::string name;
    std::string function;
    CallResult result;
    std::string cause = {};  // of the failure line
    bool starts = true;
};

Board failing_board(const std::string& name, const std::string& function, const std::string& cause,
                    const CallResult& result = refuses()) {
    return {name, function, result, cause, false};
}

constexpr char too_long[] = "device name is too long";
constexpr char sizes_differ[] = "IOs and MuxMap values must have the same size";

const Board boards[] = {
    {"wifi_name_of_15", "wifi_info_get", succeeds("abcdefghijklmno 7")},
    failing_board("wifi_name_of_16", "wifi_info_get", too_long, refuses(untouched)),
    {"bluetooth_name_of_15", "bluetooth_info_get", succeeds("abcdefghijklmno 7")},
    failing_board("bluetooth_name_of_16", "bluetooth_info_get", too_long, refuses(untouched)),
    {"serial_name_of_15", "serial_device_info_get", succeeds("abcdefghijklmno 115200 1")},
    failing_board("serial_name_of_16", "serial_device_info_get", too_long, refuses(untouched)),
    failing_board("mux_row_too_long", "serial_mux", sizes_differ),
    failing_board("mux_row_too_short", "serial_mux", sizes_differ),
    {"mux_without_rows", "serial_mux", refuses(), "Unsupported port"},
    failing_board("direction_in_capitals", "io_set", "GPIO direction not valid"),
    failing_board("pwm_without_frequency", "io_config_get", "PWM frequency out of range", refuses(untouched)),
    failing_board("pwm_above_100_percent", "backlight_set", "PWM duty out of range"),
};

class ChosenBoard : public testing::TestWithParam<Board> {};

TEST_P(ChosenBoard, StartsOrPrintsWhyNot) {
    const auto& [name, function, result, cause, starts] = GetParam();
    const std::string lines = !starts ? start_failed(function, cause) : cause.empty() ? "" : failed(function, cause);
    EXPECT_EQ(output_of(VELMOR_CHOSEN_BOARD, {"env", "VELMOR_TEST_BOARD=" + name, VELMOR_CALL_FUNCTION, function}),
              lines + std::string(result) + "\n");
    set_hardware("pwm2.duty=500000");  // which a refused duty leaves at 0
}

INSTANTIATE_TEST_SUITE_P(Boards, ChosenBoard, testing::ValuesIn(boards),
                         [](const auto& instance) { return instance.param.name; });

// ---- Hardware that is not as it should be --------------------------------------------------------------------------

TEST(Start, ThatFailsIsReportedAndTriedAgain) {
    set_hardware("backlight.brightness=4");
    const ChildResult child = run_in_child([] {
        std::optional<Fault> fault("/sys/class/backlight/pwm-backlight.0/max_brightness:read:EIO");
        const std::string failed = joined({result_of(backlight_get, 0), query_es()});
        fault.reset();
        return joined({failed, result_of(backlight_get, 0)});
    });
    const CallResult failure = file_fails_with(EIO, untouched);
    EXPECT_THAT(child, returns({failure, failure, succeeds("128")},
                               start_failed("backlight_get", read_failure) + start_failed("es_present", read_failure)));
}

const std::string zone = "/sys/class/thermal/thermal_zone0/";
const Scenario get_temperatures = call(thermal_state_get, 0);
const auto fails_at_a_missing_file =
    returns(file_fails_with(ENOENT, untouched), failed("thermal_state_get", stream_failure));

Acts zone_reads(const std::vector<std::string>& files) {
    Acts acts;
    for (const std::string& file : files) acts = in_order({acts, read_acts(zone + file)});
    return acts;
}

// The scan for trip points ends at the missing one and reports nothing. Every query then fails: it has no file to read.
TEST(Start, ThermalZoneWithTwoTripPointsFailsItsQueries) {
    VELMOR_NEEDS_RECORDER();
    const std::string third = "open " + zone + "trip_point_2_type r";
    const ChildResult child = run_in_child(Recorder().watch({zone}).fail(third, ENOENT), get_temperatures);
    EXPECT_THAT(child, fails_at_a_missing_file);
    EXPECT_THAT(child.acts,
                ElementsAreArray(in_order({zone_reads({"trip_point_0_type", "trip_point_1_type"}),
                                           {third + " = ENOENT"},
                                           zone_reads({"temp", "trip_point_0_temp", "trip_point_1_temp"})})));
}

TEST(Start, OfTwoTripPointsOfOneKindTheLaterCounts) {
    VELMOR_NEEDS_RECORDER();
    hardware({"raw", zone + "trip_point_3_type", "active\\n"});
    const ChildResult child = run_in_child(Recorder().watch({zone}), get_temperatures);
    hardware({"raw", zone + "trip_point_3_type", "critical\\n"});
    EXPECT_THAT(child, fails_at_a_missing_file);  // nothing is critical any more
    EXPECT_THAT(child.acts, ElementsAreArray(zone_reads({"trip_point_0_type", "trip_point_1_type", "trip_point_2_type",
                                                         "trip_point_3_type", "temp", "trip_point_3_temp",
                                                         "trip_point_1_temp", "trip_point_2_temp"})));
}

TEST(Start, TripPointOfAnotherKindIsNeverReported) {
    const std::string type = zone + "trip_point_1_type";
    hardware({"raw", type, "passive\\n"});
    EXPECT_THAT(run_in_child(get_temperatures), fails_at_a_missing_file);
    hardware({"raw", type, "hot\\n"});
}

}  // namespace
