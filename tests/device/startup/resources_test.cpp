// SPDX-License-Identifier: MIT
// The exported functions of the families that this device lacks.

#include <gmock/gmock.h>
#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include "access/gpio.h"
#include "configuration.h"
#include "core/board.h"
#include "lighting/led_group_sysfs.h"
#include "mrfi/mrfi.h"
#include "sensors/antenna.h"
#include "sensors/attitude.h"
#include "sensors/car_motion.h"
#include "serial/serial_alt_func.h"
#include "serial/serial_mux.h"
#include "support/calls.h"
#include "support/device.h"
#include "unit/sensors/input_device.h"
#include "velmor.h"

using namespace testing_support;
using namespace Velmor;

namespace {

const std::string radio = "/sys/devices/platform/radio.0/";
const std::string disabled_keys = "/sys/devices/platform/gpio-keys/disabled_keys";

constexpr char no_direction[] = "GPIO direction not valid";
constexpr char no_entry[] = "No such file or directory";

constexpr mrfi_addr_t peer = {{1, 0, 0xab, 0}};
constexpr mrfi_addr_t nobody = {{0, 0, 0, 0}};

/** A board with resources of every family that this device lacks, and two lines. */
class EquippedBoard : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        put("/sys/leds", "1 2 3\n");
        for (const int pin : {37, 38, 39}) put_gpio_line(pin, "0\n");
        for (const char* name : {"type", "autolink", "link", "unlink"}) put(radio + name, "1\n");
        put(radio + "rssi", "-61\n");
        put(radio + "address", "0x12345678\n");
        put(radio + "connections", "0x12340001 1f 2 -60 1 0\n");
        put(radio + "devices", "0x12340001 3 7 probe\n");
        put("/sys/devices/platform/gpio-keys/keys", "114\n");
        put(disabled_keys, "114\n");
        input_.values = {{axis_x, -1}, {axis_y, -2}, {axis_z, -3}, {axis_rx, -4}};
        configuration = [this](Board& board) {
            using type = Resource::type;
            board.add(type::led_group, new LedGroupSysFS("/sys/leds"));
            board.add(type::io + 1, new GPIO(37, GPIO::out()));
            board.add(type::io + 2, new GPIO(37, GPIO::in()));
            board.add(type::wifi_antenna, new Antenna(37));
            board.add(type::bluetooth_antenna, new Antenna(38));
            board.add(type::mrfi + 1, new MRFI("/sys/devices/platform/radio.0"));
            board.add(type::attitude, new Attitude(input_.node()));
            board.add(type::car_motion, new CarMotion(input_.node()));
            board.add(type::serial_mux + 2, new SerialMux({GPIO(39, GPIO::out())}, {{5, {1}}}));
            board.add(type::serial_alt_func + 3, new SerialAltFunc({0, 1}, 114));
        };
    }

    InputDevice input_;
};

struct Call {
    std::string function;
    Scenario call;
    CallResult result = succeeds();
    std::string cause = {};  // of the failure line
};

/** Calls of one process, and what they leave in files. */
struct Calls {
    std::string name;
    std::vector<Call> calls;
    std::map<std::string, std::string> files = {};
    void (*prepare)(InputDevice&) = [](InputDevice&) {};
};

class Families : public EquippedBoard, public testing::WithParamInterface<Calls> {};

TEST_P(Families, ReachTheirResources) {
    GetParam().prepare(input_);
    std::vector<Scenario> calls;
    std::string results;
    std::string lines;
    for (const Call& each : GetParam().calls) {
        calls.push_back(each.call);
        results = joined({results, each.result});
        if (!each.cause.empty()) lines += failed(each.function, each.cause);
    }
    EXPECT_THAT(run_in_child(in_turn(calls)), returns(results, lines));
    for (const auto& [file, text] : GetParam().files) EXPECT_EQ(content(file), text) << file;
}

void fail_queries(InputDevice& input) {
    input.values.clear();
    input.error = ENODEV;
}

mrfi_enum_ctx* list = nullptr;

std::string next_connection() {
    return result_of(mrfi_connection_list_read, list);
}

std::string next_device() {
    return result_of(mrfi_device_list_read, list);
}

CallResult listed(const std::string& entry) {
    return {1, untouched_errno, entry};
}

const CallResult end = succeeds(untouched);
const CallResult no_device = fails_with(ENODEV, untouched);
const CallResult no_node = fails_with(ENOENT, untouched);

INSTANTIATE_TEST_SUITE_P(
    Families, Families,
    testing::Values(
        Calls{.name = "Leds",
              .calls = {{"led_color_get", call(led_color_get, 0), succeeds("1 2 3")},
                        {"led_color_set", call(led_color_set, 0, led_color_t{255, 0, 16})},
                        {"led_color_set", call(led_color_set, 0, led_color_t{256, 0, 0}), refuses(),
                         "color out of range"}},
              .files = {{"/sys/leds", "255 0 16"}}},
        Calls{.name = "LinesOfTheOtherDirection",
              .calls = {{"io_set", call(io_set, 2, 1), refuses(), no_direction},
                        {"io_get", call(io_get, 1), refuses(untouched), no_direction}},
              .files = {{gpio("export"), ""},
                        {gpio("unexport"), ""},
                        {gpio(37, "direction"), ""},
                        {gpio(37, "value"), "0\n"}}},
        Calls{.name = "Antennas",
              .calls = {{"wifi_antenna_set", call(wifi_antenna_set, 1)},
                        {"bluetooth_antenna_set", call(bluetooth_antenna_set, 0)}},
              .files = {{gpio(37, "value"), "1"}, {gpio(38, "value"), "0"}}},
        Calls{.name = "MrfiAttributes",
              .calls = {{"mrfi_rssi_get", call(mrfi_rssi_get, 1), succeeds("-61")},
                        {"mrfi_type_get", call(mrfi_type_get, 1), succeeds("1")},
                        {"mrfi_address_get", call(mrfi_address_get, 1), succeeds("78 56 34 12 ")},
                        {"mrfi_autolink_get", call(mrfi_autolink_get, 1), succeeds("true")},
                        {"mrfi_autolink_set", call(mrfi_autolink_set, 1, 0x100)},  // only the low byte counts
                        {"mrfi_autolink_get", call(mrfi_autolink_get, 1), succeeds("false")},
                        {"mrfi_link", call(mrfi_link, 1, peer)},
                        {"mrfi_unlink", call(mrfi_unlink, 1, nobody)},
                        {"mrfi_link", call(mrfi_link, 0, peer), fails_with(EOPNOTSUPP), not_supported}},
              .files = {{radio + "autolink", "0"}, {radio + "link", "0xab0001"}, {radio + "unlink", "0"}}},
        Calls{.name = "MrfiAutolinkOfAnotherLowByte",
              .calls = {{"mrfi_autolink_set", call(mrfi_autolink_set, 1, 0x102)}},
              .files = {{radio + "autolink", "1"}}},
        // The reserved bits keep the 0x5A that they had: 0x16 above the two flags.
        Calls{.name = "MrfiConnections",
              .calls = {{"mrfi_connection_list_open", call(mrfi_connection_list_open, 1, &list)},
                        {"mrfi_connection_list_read",
                         [] { return result_of(mrfi_connection_list_read, list, nullptr); }, fails_with(EINVAL)},
                        {"mrfi_connection_list_read", next_connection, listed("31 2 196 10 22 1 0 34 12 ")},
                        {"mrfi_connection_list_read", next_connection, end},
                        {"mrfi_connection_list_read", next_connection, end},
                        {"mrfi_connection_list_close", [] { return result_of(mrfi_connection_list_close, list); }}}},
        Calls{.name = "MrfiDevices",
              .calls = {{"mrfi_device_list_open", call(mrfi_device_list_open, 1, &list)},
                        {"mrfi_device_list_read", [] { return result_of(mrfi_device_list_read, list, nullptr); },
                         fails_with(EINVAL)},
                        {"mrfi_device_list_read", next_device, listed("3 7 probe 1 0 34 12 ")},
                        {"mrfi_device_list_read", next_device, end},
                        {"mrfi_device_list_close", [] { return result_of(mrfi_device_list_close, list); }}}},
        Calls{.name = "MotionSensors",
              .calls = {{"attitude_get", call(attitude_get), succeeds("-1 -2 -3")},
                        {"car_motion_get", call(car_motion_get), succeeds("-1 backwards")}}},
        Calls{.name = "MotionSensorsThatFail",
              .calls = {{"attitude_get", call(attitude_get), no_device, "No such device"},
                        {"car_motion_get", call(car_motion_get), no_device, "No such device"}},
              .prepare = fail_queries},
        Calls{.name = "MotionSensorsWithoutANode",
              .calls = {{"attitude_get", call(attitude_get), no_node, no_entry},
                        {"car_motion_get", call(car_motion_get), no_node, no_entry}},
              .prepare = [](InputDevice& input) { remove(input.node()); }},
        Calls{.name = "SerialMultiplexer",
              .calls = {{"serial_mux", call(serial_mux, 2, 5)},
                        {"serial_mux", call(serial_mux, 2, 6), refuses(), "Unsupported port"}},
              .files = {{gpio(39, "value"), "1"}}},
        Calls{
            .name = "SerialAlternateFunctions",
            .calls = {{"serial_alt_func_has", call(serial_alt_func_has, 3, 1), succeeds("true")},
                      {"serial_alt_func_has", call(serial_alt_func_has, 3, 2), succeeds("false")},
                      {"serial_alt_func_set", call(serial_alt_func_set, 3, 1)},
                      {"serial_alt_func_set", call(serial_alt_func_set, 3, 2), fails_with(EINVAL), "Invalid argument"}},
            .files = {{disabled_keys, "0,"}}}),
    [](const auto& instance) { return instance.param.name; });

// errno is not compared after the opens: a missing file leaves it unspecified.
TEST_F(EquippedBoard, MrfiListsThatAreMissingOrUnreadableAreEmpty) {
    const auto calls = [] {
        mrfi_enum_ctx* connections = nullptr;
        mrfi_enum_ctx* devices = nullptr;
        const int opened[] = {mrfi_connection_list_open(1, &connections), mrfi_device_list_open(1, &devices)};
        return joined({std::to_string(opened[0]), std::to_string(opened[1]),
                       result_of(mrfi_connection_list_read, connections), result_of(mrfi_device_list_read, devices),
                       result_of(mrfi_connection_list_read, connections), result_of(mrfi_device_list_read, devices),
                       result_of(mrfi_connection_list_close, connections), result_of(mrfi_device_list_close, devices)});
    };
    const std::string empty = joined({"0", "0", end, end, end, end, succeeds(), succeeds()});
    remove(radio);
    EXPECT_THAT(run_in_child(calls), returns(empty));
    for (const char* name : {"connections", "devices"}) put_directory(radio + name);
    EXPECT_THAT(run_in_child(calls), returns(empty));
}

}  // namespace
