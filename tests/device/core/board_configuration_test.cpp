// SPDX-License-Identifier: MIT
#include "core/board_configuration.h"

#include <gmock/gmock.h>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <functional>
#include <ios>
#include <ostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <typeinfo>
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
#include "support/files.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::put;
using namespace Velmor;

namespace {

using type = Resource::type;

constexpr char table[] = "/proc/platform/pht";
constexpr char table_version[] = "/proc/platform/pht_version";
constexpr char max_brightness[] = "/sys/class/backlight/pwm-backlight.0/max_brightness";
constexpr char pwm_period[] = "/sys/devices/platform/mxc_pwm.1/period";
constexpr char pwm[] = "/sys/devices/platform/mxc_pwm.1";

/** Keeps what is offered to it, in order, and registers as ever. */
class ListeningBoard : public Board {
public:
    void add(const type& key, Resource* resource) override {
        offered.push_back({static_cast<int>(key), &typeid(*resource)});
        Board::add(key, resource);
    }

    struct Offer {
        int key;
        const std::type_info* kind;
        bool operator==(const Offer& other) const { return key == other.key && *kind == *other.kind; }
        friend std::ostream& operator<<(std::ostream& out, const Offer& offer) {
            return out << offer.key << ' ' << offer.kind->name();
        }
    };
    std::vector<Offer> offered;

    std::vector<int> registered() {
        std::vector<int> keys;
        for (int key = -1; key <= 60; ++key)
            if (present(static_cast<type>(key))) keys.push_back(key);
        return keys;
    }
};

/** All 16 bytes of a name. */
std::string bytes(const char (&name)[16]) {
    return {name, sizeof name};
}

std::string filled_up(std::string name) {
    name.resize(16, '\0');
    return name;
}

/** A record whose every byte is to be written. */
template <typename Record>
Record dirty() {
    Record record;
    std::memset(static_cast<void*>(&record), 0x5A, sizeof record);
    return record;
}

class BoardConfiguration : public testing_support::DeviceTest {
protected:
    /** Give the hardware table this byte: 4 holds field 10, 18 field 24 and 19 field 27. */
    static void set_table_byte(std::size_t index, const std::string& digits) {
        std::string text = content(table);
        text.replace(2 + 2 * index, 2, digits);
        put(table, text);
    }

    ListeningBoard board;
};

TEST_F(BoardConfiguration, OffersFifteenResourcesInOrder) {
    configure_board(board);
    using Offer = ListeningBoard::Offer;
    EXPECT_THAT(
        board.offered,
        ElementsAre(Offer{21, &typeid(Platform)}, Offer{16, &typeid(BacklightSysFS)}, Offer{0, &typeid(IOPWM)},
                    Offer{14, &typeid(Bluetooth)}, Offer{41, &typeid(DisplaySysFS)}, Offer{39, &typeid(Resource)},
                    Offer{11, &typeid(SysFSIO)}, Offer{38, &typeid(Gps)}, Offer{9, &typeid(SysFSIO)},
                    Offer{19, &typeid(AutoPowerOn)}, Offer{36, &typeid(SerialDevice)}, Offer{37, &typeid(SerialDevice)},
                    Offer{43, &typeid(Thermal)}, Offer{20, &typeid(Watchdog)}, Offer{12, &typeid(Wifi)}));
    EXPECT_THAT(board.registered(), ElementsAre(0, 9, 11, 12, 14, 16, 19, 20, 21, 36, 37, 38, 39, 41, 43));
}

TEST_F(BoardConfiguration, ParametersAreThoseOfTheDevice) {
    configure_board(board);
    auto wifi = dirty<wifi_info_t>();
    board.wifi_info_get(&wifi);
    EXPECT_EQ(bytes(wifi.name), filled_up("wlan0"));
    EXPECT_EQ(wifi.value, 3U);
    auto bluetooth = dirty<bluetooth_info_t>();
    board.bluetooth_info_get(&bluetooth);
    EXPECT_EQ(bytes(bluetooth.name), filled_up("hci0"));
    EXPECT_EQ(bluetooth.value, 3U);
    auto gps = dirty<gps_info_t>();
    board.gps_info_get(&gps);
    EXPECT_EQ(gps.value1, 1U);
    EXPECT_EQ(gps.value2, 1U);
    auto device = dirty<serial_device_info_t>();
    board.serial_device_info_get(0, &device);
    EXPECT_EQ(bytes(device.name), filled_up("/dev/ttymxc4"));
    EXPECT_EQ(device.baud_rate, 9600U);
    EXPECT_EQ(device.options, 0U);
    device = dirty<serial_device_info_t>();
    board.serial_device_info_get(1, &device);
    EXPECT_EQ(bytes(device.name), filled_up("/dev/ttymxc3"));
    EXPECT_EQ(device.baud_rate, 38400U);
    EXPECT_EQ(device.options, 0U);
    EXPECT_EQ(content(pwm_period), "370370");                  // 2700 Hz
    EXPECT_EQ(content(std::string(pwm) + "/duty"), "185185");  // 50 %
    EXPECT_EQ(content(std::string(pwm) + "/status"), "0\n");
}

TEST_F(BoardConfiguration, WithoutEchosounderThreeKeysAreMissing) {
    set_table_byte(19, "2f");
    configure_board(board);
    EXPECT_EQ(board.offered.size(), 15U);
    EXPECT_THAT(board.registered(), ElementsAre(0, 9, 12, 14, 16, 19, 20, 21, 36, 38, 41, 43));
}

TEST_F(BoardConfiguration, WithoutWifiItsKeyIsMissing) {
    set_table_byte(4, "e3");  // every other bit set
    configure_board(board);
    EXPECT_THAT(board.registered(), ElementsAre(0, 9, 11, 14, 16, 19, 20, 21, 36, 37, 38, 39, 41, 43));
}

TEST_F(BoardConfiguration, WithoutBluetoothItsKeyIsMissing) {
    set_table_byte(18, "1f");  // every other bit set
    configure_board(board);
    EXPECT_THAT(board.registered(), ElementsAre(0, 9, 11, 12, 16, 19, 20, 21, 36, 37, 38, 39, 41, 43));
}

TEST_F(BoardConfiguration, ReadsTheSameFieldsElsewhereInALayoutOfVersion2) {
    put(table_version, "2\n");
    set_table_byte(13, "00");
    set_table_byte(14, "0f");
    configure_board(board);
    EXPECT_THAT(board.registered(), ElementsAre(0, 9, 12, 16, 19, 20, 21, 36, 38, 41, 43));
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
    EXPECT_THAT(without.registered(), ElementsAre(0, 9, 16, 19, 20, 36, 38, 41, 43));
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
        EXPECT_THAT(without.registered(), ElementsAre(0, 9, 16, 19, 20, 21, 36, 38, 41, 43));
    }
}

// ---- Failures ------------------------------------------------------------------------------------------------------

enum class Kind { stream_failure, system_error, invalid_argument };

struct Failure {
    std::string name;
    void (*break_device)();
    Kind kind = Kind::stream_failure;
    std::string text = "basic_ios::clear: iostream error";
    std::vector<int> registered = {};  // before it
    std::string period = "1000000\n";
};

class FailingConfiguration : public BoardConfiguration, public testing::WithParamInterface<Failure> {
protected:
    static bool is(Kind kind, const std::exception& error) {
        switch (kind) {
            case Kind::stream_failure: return dynamic_cast<const std::ios_base::failure*>(&error) != nullptr;
            case Kind::system_error: return dynamic_cast<const std::system_error*>(&error) != nullptr;
            case Kind::invalid_argument: return dynamic_cast<const std::invalid_argument*>(&error) != nullptr;
        }
        return false;
    }
};

TEST_P(FailingConfiguration, EndsAtItsRow) {
    GetParam().break_device();
    try {
        configure_board(board);
        FAIL() << "no failure";
    } catch (const std::exception& error) {
        EXPECT_TRUE(is(GetParam().kind, error));
        EXPECT_EQ(error.what(), GetParam().text);
    }
    EXPECT_EQ(board.registered(), GetParam().registered);
    if (!GetParam().period.empty()) {
        EXPECT_EQ(content(pwm_period), GetParam().period);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Board, FailingConfiguration,
    testing::Values(Failure{.name = "MissingTableVersion",
                            .break_device = [] { testing_support::remove(table_version); }},
                    Failure{.name = "TableVersionThatIsNoNumber", .break_device = [] { put(table_version, "one\n"); }},
                    Failure{.name = "MissingTable", .break_device = [] { testing_support::remove(table); }},
                    Failure{.name = "EmptyTable", .break_device = [] { put(table, "\n"); }},
                    Failure{.name = "UnknownTableVersion",
                            .break_device = [] { put(table_version, "4\n"); },
                            .kind = Kind::system_error,
                            .text = "Invalid PHT table version 4: No such device"},
                    Failure{.name = "TableWithoutX",
                            .break_device = [] { put(table, "002912\n"); },
                            .kind = Kind::invalid_argument,
                            .text = "platform hardware table has no \"x\" before its digits"},
                    Failure{.name = "MissingMaxBrightness",
                            .break_device = [] { testing_support::remove(max_brightness); },
                            .registered = {21}},
                    Failure{.name = "MissingPeriod",
                            .break_device = [] { testing_support::remove(pwm_period); },
                            .registered = {16, 21},
                            .period = ""},
                    Failure{.name = "MissingChannel",
                            .break_device = [] { testing_support::remove(pwm); },
                            .registered = {16, 21},
                            .period = ""}),
    [](const auto& instance) { return instance.param.name; });

// The other rows read nothing that they need: they are there on a device without their files too.
TEST_F(BoardConfiguration, OtherMissingFilesDoNotMatter) {
    for (const char* path :
         {"/sys/class/graphics", "/sys/class/thermal", "/sys/devices/platform/echosounder.0",
          "/sys/devices/platform/gps.0", "/sys/power", "/dev/watchdog", "/etc/fs_version", "/sbin/reboot"})
        testing_support::remove(path);
    testing_support::remove(std::string(pwm) + "/status");
    configure_board(board);
    EXPECT_EQ(board.registered().size(), 15U);
}

}  // namespace
