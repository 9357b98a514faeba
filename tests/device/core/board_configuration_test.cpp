// SPDX-License-Identifier: MIT
#include "core/board_configuration.h"

#include <gmock/gmock.h>
#include <algorithm>
#include <cerrno>
#include <exception>
#include <functional>
#include <ios>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <typeinfo>
#include <utility>
#include <vector>

#include "access/io_pwm.h"
#include "access/sysfs_io.h"
#include "core/board.h"
#include "lighting/backlight_sysfs.h"
#include "lighting/display_sysfs.h"
#include "platform/auto_power_on.h"
#include "platform/platform.h"
#include "platform/watchdog.h"
#include "sensors/gps.h"
#include "sensors/radio.h"
#include "sensors/thermal.h"
#include "serial/serial_device.h"
#include "support/device.h"

using testing::ElementsAre;
using namespace testing_support;
using namespace Velmor;

namespace {

using type = Resource::type;

constexpr char table[] = "/proc/platform/pht";
constexpr char table_version[] = "/proc/platform/pht_version";
constexpr char max_brightness[] = "/sys/class/backlight/pwm-backlight.0/max_brightness";
constexpr char pwm[] = "/sys/devices/platform/mxc_pwm.1";
constexpr char pwm_period[] = "/sys/devices/platform/mxc_pwm.1/period";
constexpr char pwm_duty[] = "/sys/devices/platform/mxc_pwm.1/duty";
constexpr char pwm_status[] = "/sys/devices/platform/mxc_pwm.1/status";

/** A resource that is added: its key and its class. */
using Offer = std::pair<int, std::string>;

template <typename Kind>
Offer offer(int key) {
    return {key, typeid(Kind).name()};
}

/** Notes what is added, in order, whether or not it is then registered. */
class ListeningBoard : public Board {
public:
    void add(const type& key, Resource* resource) override {
        offered.emplace_back(static_cast<int>(key), typeid(*resource).name());
        Board::add(key, resource);
    }

    std::vector<Offer> offered;

    std::vector<int> registered() {
        std::vector<int> keys;
        for (int key = -1; key <= 60; ++key)
            if (present(static_cast<type>(key))) keys.push_back(key);
        return keys;
    }
};

const std::vector<int> all_keys = {0, 9, 11, 12, 14, 16, 19, 20, 21, 36, 37, 38, 39, 41, 43};

std::vector<int> all_but(const std::vector<int>& missing) {
    std::vector<int> keys;
    std::ranges::set_difference(all_keys, missing, std::back_inserter(keys));
    return keys;
}

class BoardConfiguration : public DeviceTest {
protected:
    ListeningBoard board;
};

TEST_F(BoardConfiguration, AddsFifteenResourcesInOrder) {
    configure_board(board);
    EXPECT_THAT(board.offered,
                ElementsAre(offer<Platform>(21), offer<BacklightSysFS>(16), offer<IOPWM>(0), offer<Bluetooth>(14),
                            offer<DisplaySysFS>(41), offer<Resource>(39), offer<SysFSIO>(11), offer<Gps>(38),
                            offer<SysFSIO>(9), offer<AutoPowerOn>(19), offer<SerialDevice>(36), offer<SerialDevice>(37),
                            offer<Thermal>(43), offer<Watchdog>(20), offer<Wifi>(12)));
    EXPECT_EQ(board.registered(), all_keys);
}

TEST_F(BoardConfiguration, ParametersAreThoseOfTheDevice) {
    configure_board(board);
    Out<wifi_info_t> wifi;
    Out<bluetooth_info_t> bluetooth;
    Out<gps_info_t> gps;
    Out<serial_device_info_t> ports[2];
    board.wifi_info_get(wifi);
    board.bluetooth_info_get(bluetooth);
    board.gps_info_get(gps);
    for (const int index : {0, 1}) board.serial_device_info_get(index, ports[index]);
    EXPECT_EQ(wifi.text(), "wlan0 3");
    EXPECT_EQ(bluetooth.text(), "hci0 3");
    EXPECT_EQ(gps.text(), "1 1");
    EXPECT_EQ(ports[0].text(), "/dev/ttymxc4 9600 0");
    EXPECT_EQ(ports[1].text(), "/dev/ttymxc3 38400 0");
    EXPECT_EQ(content(pwm_period), "370370");  // ns: 2700 Hz
    EXPECT_EQ(content(pwm_duty), "185185");    // ns: 50 %
    EXPECT_EQ(content(pwm_status), "0\n");
}

TEST_F(BoardConfiguration, WhatTheHardwareTableCallsNotFittedIsMissing) {
    const struct {
        const char* not_fitted;
        void (*change_table)();
        std::vector<int> missing;
    } rows[] = {
        {.not_fitted = "echosounder",
         .change_table = [] { put_hardware_table_byte(19, "2f"); },
         .missing = {11, 37, 39}},
        // Every other bit of these two bytes is set.
        {.not_fitted = "Wi-Fi", .change_table = [] { put_hardware_table_byte(4, "e3"); }, .missing = {12}},
        {.not_fitted = "Bluetooth", .change_table = [] { put_hardware_table_byte(18, "1f"); }, .missing = {14}},
        {.not_fitted = "echosounder and Bluetooth in version 2",
         .change_table =
             [] {
                 put(table_version, "2\n");
                 put_hardware_table_byte(13, "00");
                 put_hardware_table_byte(14, "0f");
             },
         .missing = {11, 14, 37, 39}},
    };
    for (const auto& row : rows) {
        reset_device();
        row.change_table();
        ListeningBoard without;
        configure_board(without);
        EXPECT_EQ(without.offered.size(), 15U) << row.not_fitted;
        EXPECT_EQ(without.registered(), all_but(row.missing)) << row.not_fitted;
    }
}

TEST_F(BoardConfiguration, WithoutAPlatformOnlyWhatTheTableDecidesIsMissing) {
    class BoardWithoutPlatform : public ListeningBoard {
    public:
        void add(const type& key, Resource* resource) override {
            if (key != type::platform) ListeningBoard::add(key, resource);
        }
    };
    BoardWithoutPlatform without;
    configure_board(without);
    EXPECT_EQ(without.offered.size(), 14U);
    EXPECT_EQ(without.registered(), all_but({11, 12, 14, 21, 37, 39}));
}

TEST_F(BoardConfiguration, WithATableThatCannotBeReadOnlyWhatItDecidesIsMissing) {
    class BoardWithoutTable : public ListeningBoard {
    public:
        int platform_hw_get(int /*field*/) override { return failure(), 0; }
        std::function<void()> failure;
    };
    const std::function<void()> failures[] = {
        [] { throw std::ios_base::failure("unreadable"); },
        [] { throw std::system_error(EOPNOTSUPP, std::system_category()); },
        [] { throw std::runtime_error("unreadable"); },
        [] { throw 42; },
    };
    for (const auto& failure : failures) {
        BoardWithoutTable without;
        without.failure = failure;
        configure_board(without);
        EXPECT_EQ(without.offered.size(), 15U);
        EXPECT_EQ(without.registered(), all_but({11, 12, 14, 37, 39}));
    }
}

// ---- Failures ------------------------------------------------------------------------------------------------------

struct Failure {
    std::string name;
    void (*break_device)();
    std::string throws = "stream failure";
    std::vector<int> registered = {};  // before the failure
    std::string period = "1000000\n";  // afterwards; empty for a channel without one
};

class FailingConfiguration : public BoardConfiguration, public testing::WithParamInterface<Failure> {};

TEST_P(FailingConfiguration, EndsAtItsRow) {
    GetParam().break_device();
    std::string text;
    const auto configure = [&] {
        try {
            configure_board(board);
        } catch (const std::exception& error) {
            text = error.what();
            throw;
        }
    };
    EXPECT_EQ(thrown(configure), GetParam().throws);
    if (GetParam().throws == "stream failure") {
        EXPECT_EQ(text, stream_failure);
    }
    EXPECT_EQ(board.registered(), GetParam().registered);
    if (!GetParam().period.empty()) {
        EXPECT_EQ(content(pwm_period), GetParam().period);
    }
}

template <const char* path>
void remove_file() {
    testing_support::remove(path);
}

INSTANTIATE_TEST_SUITE_P(
    Board, FailingConfiguration,
    testing::Values(
        Failure{.name = "MissingTableVersion", .break_device = remove_file<table_version>},
        Failure{.name = "TableVersionThatIsNoNumber", .break_device = [] { put(table_version, "one\n"); }},
        Failure{.name = "MissingTable", .break_device = remove_file<table>},
        Failure{.name = "EmptyTable", .break_device = [] { put(table, "\n"); }},
        Failure{.name = "UnknownTableVersion",
                .break_device = [] { put(table_version, "4\n"); },
                .throws = "system_error 19 Invalid PHT table version 4: No such device"},
        Failure{.name = "TableWithoutX",
                .break_device = [] { put(table, "002912\n"); },
                .throws = "invalid_argument platform hardware table has no \"x\" before its digits"},
        Failure{.name = "MissingMaxBrightness", .break_device = remove_file<max_brightness>, .registered = {21}},
        Failure{.name = "MissingPeriod", .break_device = remove_file<pwm_period>, .registered = {16, 21}, .period = ""},
        Failure{.name = "MissingChannel", .break_device = remove_file<pwm>, .registered = {16, 21}, .period = ""}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(BoardConfiguration, OtherFilesMayBeMissing) {
    for (const char* path :
         {"/sys/class/graphics", "/sys/class/thermal", "/sys/devices/platform/echosounder.0",
          "/sys/devices/platform/gps.0", "/sys/power", "/dev/watchdog", "/etc/fs_version", "/sbin/reboot", pwm_status})
        testing_support::remove(path);
    configure_board(board);
    EXPECT_EQ(board.registered(), all_keys);
}

}  // namespace
