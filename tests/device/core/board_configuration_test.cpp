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
#include "support/files.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::put;
using testing_support::reset_device;
using namespace Velmor;

namespace {

using type = Resource::type;

constexpr char backlight[] = "/sys/class/backlight/pwm-backlight.0";
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

class BoardConfiguration : public testing::Test {
protected:
    void SetUp() override { reset_device(); }

    /** Give the hardware table this byte: 4 holds field 10, 18 field 24 and 19 field 27. */
    static void set_table_byte(std::size_t index, const std::string& digits) {
        std::string table = content("/proc/platform/pht");
        table.replace(2 + 2 * index, 2, digits);
        put("/proc/platform/pht", table);
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
    EXPECT_EQ(content(std::string(pwm) + "/period"), "370370");  // 2700 Hz
    EXPECT_EQ(content(std::string(pwm) + "/duty"), "185185");    // 50 %
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
    put("/proc/platform/pht_version", "2\n");
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

class FailingConfiguration : public BoardConfiguration {
protected:
    /** The text of the failure, which must be of this kind. */
    template <typename Exception>
    std::string failure() {
        try {
            configure_board(board);
        } catch (const std::exception& error) {
            EXPECT_NE(dynamic_cast<const Exception*>(&error), nullptr);
            return error.what();
        }
        return "no failure";
    }

    static constexpr char stream_failure[] = "basic_ios::clear: iostream error";
};

TEST_F(FailingConfiguration, MissingTableVersion) {
    testing_support::remove("/proc/platform/pht_version");
    EXPECT_EQ(failure<std::ios_base::failure>(), stream_failure);
    EXPECT_THAT(board.registered(), ElementsAre());
}

TEST_F(FailingConfiguration, TableVersionThatIsNoNumber) {
    put("/proc/platform/pht_version", "one\n");
    EXPECT_EQ(failure<std::ios_base::failure>(), stream_failure);
}

TEST_F(FailingConfiguration, MissingTable) {
    testing_support::remove("/proc/platform/pht");
    EXPECT_EQ(failure<std::ios_base::failure>(), stream_failure);
    EXPECT_THAT(board.registered(), ElementsAre());
}

TEST_F(FailingConfiguration, EmptyTable) {
    put("/proc/platform/pht", "\n");
    EXPECT_EQ(failure<std::ios_base::failure>(), stream_failure);
}

TEST_F(FailingConfiguration, UnknownTableVersion) {
    put("/proc/platform/pht_version", "4\n");
    EXPECT_EQ(failure<std::system_error>(), "Invalid PHT table version 4: No such device");
    EXPECT_THAT(board.registered(), ElementsAre());
}

TEST_F(FailingConfiguration, TableWithoutX) {
    put("/proc/platform/pht", "002912\n");
    EXPECT_NE(failure<std::invalid_argument>(), "no failure");
    EXPECT_THAT(board.registered(), ElementsAre());
}

TEST_F(FailingConfiguration, MissingMaxBrightnessComesBeforeEveryLaterRow) {
    testing_support::remove(std::string(backlight) + "/max_brightness");
    EXPECT_EQ(failure<std::ios_base::failure>(), stream_failure);
    EXPECT_THAT(board.registered(), ElementsAre(21));
    EXPECT_EQ(content(std::string(pwm) + "/period"), "1000000\n");
}

TEST_F(FailingConfiguration, MissingPeriodComesBeforeEveryLaterRow) {
    testing_support::remove(std::string(pwm) + "/period");
    EXPECT_EQ(failure<std::ios_base::failure>(), stream_failure);
    EXPECT_THAT(board.registered(), ElementsAre(16, 21));
}

TEST_F(FailingConfiguration, MissingChannel) {
    testing_support::remove(pwm);
    EXPECT_EQ(failure<std::ios_base::failure>(), stream_failure);
    EXPECT_THAT(board.registered(), ElementsAre(16, 21));
}

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
