// SPDX-License-Identifier: MIT
#include "core/board.h"

#include <gmock/gmock.h>
#include <cerrno>
#include <climits>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "access/io.h"
#include "access/pwm.h"
#include "lighting/backlight.h"
#include "lighting/display.h"
#include "lighting/led_group.h"
#include "mrfi/mrfi.h"
#include "mrfi/mrfi_enum_ctx.h"
#include "platform/power.h"
#include "platform/watchdog.h"
#include "sensors/antenna.h"
#include "sensors/attitude.h"
#include "sensors/car_motion.h"
#include "sensors/gps.h"
#include "sensors/radio.h"
#include "sensors/thermal.h"
#include "serial/serial_alt_func.h"
#include "serial/serial_device.h"
#include "serial/serial_mux.h"
#include "support/files.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing::InSequence;
using testing::Ref;
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using namespace Velmor;
using namespace testing_support;

namespace {

using type = Resource::type;

/** A board that takes everything: the rules of the hardware table are tested apart. */
class OpenBoard : public Board {
public:
    bool supported(const type& /*key*/) override { return true; }
};

type key(int number) {
    return static_cast<type>(number);
}

const std::string missing = system_error(EOPNOTSUPP);

struct BacklightMock : Backlight {
    MOCK_METHOD(void, set, (std::uint32_t), (override));
    MOCK_METHOD(std::uint32_t, get, (), (override));
};

struct DisplayMock : Display {
    MOCK_METHOD(void, set, (std::uint32_t), (override));
    MOCK_METHOD(bool, get, (), (override));
};

struct LedGroupMock : LedGroup {
    MOCK_METHOD(void, set, (const led_color_t&), (override));
    MOCK_METHOD(void, get, (led_color_t&), (override));
};

struct IOMock : IO {
    MOCK_METHOD(void, set, (const io_value_t&), (override));
    MOCK_METHOD(io_value_t, get, (), (override));
};

struct IOPWMMock : IOMock, PWM {
    MOCK_METHOD(void, set_duty, (std::uint32_t), (override));
    MOCK_METHOD(void, set_frequency, (int, int), (override));
    MOCK_METHOD(std::uint32_t, get_duty, (), (const, override));
    MOCK_METHOD(int, get_frequency, (), (const, override));
    MOCK_METHOD(void, enable, (), (override));
    MOCK_METHOD(void, disable, (), (override));
};

struct ThermalMock : Thermal {
    ThermalMock() : Thermal("/nowhere") {}
    MOCK_METHOD(void, state_get, (thermal_state_t&), (override));
};

struct AntennaMock : Antenna {
    AntennaMock() : Antenna(0) {}
    MOCK_METHOD(void, set, (const antenna_t&), (override));
};

struct WifiMock : Wifi {
    WifiMock() : Wifi("wlan7", 0) {}
    MOCK_METHOD(void, info_get, (wifi_info_t&), (override));
};

struct BluetoothMock : Bluetooth {
    BluetoothMock() : Bluetooth("hci7", 0) {}
    MOCK_METHOD(void, info_get, (bluetooth_info_t&), (override));
};

// HAZARD: every operation is replaced, none may reach the machine.
struct PowerMock : Power {
    MOCK_METHOD(void, shutdown, (), (override));
    MOCK_METHOD(void, suspend, (), (override));
    MOCK_METHOD(void, reboot, (), (override));
    MOCK_METHOD(void, run_program, (const std::string&), (override));
};

struct WatchdogMock : Watchdog {
    WatchdogMock() : Watchdog("/nowhere") {}
    MOCK_METHOD(void, enable, (int), (override));
    MOCK_METHOD(void, disable, (), (override));
    MOCK_METHOD(void, refresh, (), (override));
};

struct AttitudeMock : Attitude {
    AttitudeMock() : Attitude("/nowhere") {}
    MOCK_METHOD(void, get, (attitude_t&), (override));
};

struct CarMotionMock : CarMotion {
    CarMotionMock() : CarMotion("/nowhere") {}
    MOCK_METHOD(void, get, (car_motion_t&), (override));
};

struct SerialMuxMock : SerialMux {
    SerialMuxMock() : SerialMux({}, {}) {}
    MOCK_METHOD(void, mux, (serial_mux_port_t), (override));
};

struct SerialDeviceMock : SerialDevice {
    SerialDeviceMock() : SerialDevice("/dev/null", 0, 0) {}
    MOCK_METHOD(void, get_info, (serial_device_info_t&), (override));
};

struct SerialAltFuncMock : SerialAltFunc {
    SerialAltFuncMock() : SerialAltFunc({}) {}
    MOCK_METHOD(void, set, (const serial_alt_func_t&), (override));
    MOCK_METHOD(bool, has, (const serial_alt_func_t&), (override));
};

struct GpsMock : Gps {
    GpsMock() : Gps(0, 0) {}
    MOCK_METHOD(void, info_get, (gps_info_t&), (override));
};

/** A board with one mock registered under each of two keys: the call must reach the second. */
template <typename Mock>
struct Registered {
    Registered(int other_key, int mock_key) {
        board.add(key(other_key), &other);
        board.add(key(mock_key), &mock);
    }
    OpenBoard board;
    StrictMock<Mock> other;
    StrictMock<Mock> mock;
};

// ---- Every operation reaches its key, its operation and its arguments ----------------------------------------------

TEST(Board, BacklightOperationsReachTheBacklightOfTheIndex) {
    Registered<BacklightMock> at(16, 18);
    EXPECT_CALL(at.mock, set(200));
    at.board.backlight_set(2, 200);
    EXPECT_CALL(at.mock, get()).WillOnce(Return(77));
    EXPECT_EQ(at.board.backlight_get(2), 77U);
}

TEST(Board, DisplayOperationsReachTheDisplayOfTheIndex) {
    Registered<DisplayMock> at(41, 42);
    EXPECT_CALL(at.mock, set(2));
    at.board.display_set(1, 2);
    EXPECT_CALL(at.mock, get()).WillOnce(Return(true)).WillOnce(Return(false));
    EXPECT_TRUE(at.board.display_get(1));
    EXPECT_FALSE(at.board.display_get(1));
}

TEST(Board, LedColorOperationsReachTheGroupWithTheCallersRecord) {
    Registered<LedGroupMock> at(39, 40);
    const led_color_t wanted = {1, 2, 3};
    EXPECT_CALL(at.mock, set(Ref(wanted)));
    at.board.led_color_set(0, &wanted);
    led_color_t color = {};
    EXPECT_CALL(at.mock, get(Ref(color)));
    at.board.led_color_get(0, &color);
}

TEST(Board, IoOperationsReachTheLineOfTheNumber) {
    Registered<IOMock> at(0, 11);
    EXPECT_CALL(at.mock, set(-3));
    at.board.io_set(11, -3);
    EXPECT_CALL(at.mock, get()).WillOnce(Return(5));
    EXPECT_EQ(at.board.io_get(11), 5);
}

TEST(Board, IoOperationsReachALineThatIsAlsoAPwmChannel) {
    Registered<IOPWMMock> at(0, 1);
    EXPECT_CALL(at.mock, set(1));
    at.board.io_set(1, 1);
    EXPECT_CALL(at.mock, get()).WillOnce(Return(1));
    EXPECT_EQ(at.board.io_get(1), 1);
}

TEST(Board, IoConfigSetHandsFrequencyAndDutyToThePwmChannel) {
    Registered<IOPWMMock> at(0, 3);
    const io_config_t config = {-1, 2700};
    EXPECT_CALL(at.mock, set_frequency(2700, -1));
    at.board.io_config_set(3, &config);
}

TEST(Board, IoConfigGetReadsFrequencyBeforeDuty) {
    Registered<IOPWMMock> at(0, 3);
    const InSequence in_order;
    EXPECT_CALL(at.mock, get_frequency()).WillOnce(Return(1234));
    EXPECT_CALL(at.mock, get_duty()).WillOnce(Return(56U));
    const io_config_t config = at.board.io_config_get(3);
    EXPECT_EQ(config.frequency, 1234);
    EXPECT_EQ(config.duty, 56);
}

TEST(Board, IoConfigOfALineThatIsNoPwmIsNotSupported) {
    Registered<IOMock> at(0, 9);
    io_config_t config = {50, 1000};
    EXPECT_EQ(thrown([&] { at.board.io_config_set(9, &config); }), missing);
    EXPECT_EQ(thrown([&] { config = at.board.io_config_get(9); }), missing);
}

TEST(Board, ThermalStateGetReachesTheZoneWithTheCallersRecord) {
    Registered<ThermalMock> at(43, 44);
    thermal_state_t state = {};
    EXPECT_CALL(at.mock, state_get(Ref(state)));
    at.board.thermal_state_get(1, &state);
}

TEST(Board, AntennaOperationsReachTheirOwnAntenna) {
    Registered<AntennaMock> at(13, 15);
    EXPECT_CALL(at.other, set(1));
    at.board.wifi_antenna_set(1);
    EXPECT_CALL(at.mock, set(7));
    at.board.bluetooth_antenna_set(7);
}

TEST(Board, RadioInfoReachesTheRadioWithTheCallersRecord) {
    OpenBoard board;
    StrictMock<WifiMock> wifi;
    StrictMock<BluetoothMock> bluetooth;
    board.add(key(12), &wifi);
    board.add(key(14), &bluetooth);
    wifi_info_t wifi_info = {};
    EXPECT_CALL(wifi, info_get(Ref(wifi_info)));
    board.wifi_info_get(&wifi_info);
    bluetooth_info_t bluetooth_info = {};
    EXPECT_CALL(bluetooth, info_get(Ref(bluetooth_info)));
    board.bluetooth_info_get(&bluetooth_info);
}

TEST(Board, PowerOperationsReachEachItsOwn) {
    Registered<PowerMock> at(20, 19);
    EXPECT_CALL(at.mock, shutdown());
    at.board.power_shutdown();
    testing::Mock::VerifyAndClearExpectations(&at.mock);
    EXPECT_CALL(at.mock, reboot());
    at.board.power_reboot();
    testing::Mock::VerifyAndClearExpectations(&at.mock);
    EXPECT_CALL(at.mock, suspend());
    at.board.power_suspend();
}

TEST(Board, WatchdogOperationsReachTheWatchdog) {
    Registered<WatchdogMock> at(19, 20);
    EXPECT_CALL(at.mock, enable(-30));
    at.board.watchdog_enable(-30);
    testing::Mock::VerifyAndClearExpectations(&at.mock);
    EXPECT_CALL(at.mock, disable());
    at.board.watchdog_disable();
    testing::Mock::VerifyAndClearExpectations(&at.mock);
    EXPECT_CALL(at.mock, refresh());
    at.board.watchdog_refresh();
}

TEST(Board, MotionSensorsAreHandedTheCallersRecord) {
    OpenBoard board;
    StrictMock<AttitudeMock> attitude_sensor;
    StrictMock<CarMotionMock> motion_sensor;
    board.add(key(24), &attitude_sensor);
    board.add(key(25), &motion_sensor);
    attitude_t attitude = {};
    EXPECT_CALL(attitude_sensor, get(Ref(attitude)));
    board.attitude_get(&attitude);
    car_motion_t motion = {};
    EXPECT_CALL(motion_sensor, get(Ref(motion)));
    board.car_motion_get(&motion);
}

TEST(Board, SerialMuxReachesThePort) {
    Registered<SerialMuxMock> at(31, 35);
    EXPECT_CALL(at.mock, mux(-2));
    at.board.serial_mux(4, -2);
}

TEST(Board, SerialDeviceInfoReachesThePortWithTheCallersRecord) {
    Registered<SerialDeviceMock> at(36, 37);
    serial_device_info_t info = {};
    EXPECT_CALL(at.mock, get_info(Ref(info)));
    at.board.serial_device_info_get(1, &info);
}

TEST(Board, SerialAltFuncOperationsReachThePort) {
    Registered<SerialAltFuncMock> at(26, 30);
    EXPECT_CALL(at.mock, has(1)).WillOnce(Return(true)).WillOnce(Return(false));
    EXPECT_TRUE(at.board.serial_alt_func_has(4, 1));
    EXPECT_FALSE(at.board.serial_alt_func_has(4, 1));
    EXPECT_CALL(at.mock, set(3));
    at.board.serial_alt_func_set(4, 3);
}

TEST(Board, GpsInfoReachesTheReceiverWithTheCallersRecord) {
    Registered<GpsMock> at(37, 38);
    gps_info_t info = {};
    EXPECT_CALL(at.mock, info_get(Ref(info)));
    at.board.gps_info_get(&info);
}

TEST(Board, PresenceIsARegisteredKeyWhateverTheClass) {
    OpenBoard board;
    EXPECT_FALSE(board.wifi_present());
    EXPECT_FALSE(board.bluetooth_present());
    EXPECT_FALSE(board.es_present());

    Resource marker;
    GpsMock other;
    board.add(key(12), &marker);
    EXPECT_TRUE(board.wifi_present());
    EXPECT_FALSE(board.bluetooth_present());
    board.add(key(14), &marker);
    EXPECT_TRUE(board.bluetooth_present());
    EXPECT_FALSE(board.es_present());
    board.add(key(39), &other);
    EXPECT_TRUE(board.es_present());
}

TEST(Board, ExceptionsOfResourcesPassUnchanged) {
    Registered<BacklightMock> at(16, 17);
    EXPECT_CALL(at.mock, get()).WillOnce(Throw(42)).WillOnce(Throw(std::range_error("out of range")));
    EXPECT_THROW(at.board.backlight_get(1), int);
    EXPECT_THROW(at.board.backlight_get(1), std::range_error);
}

// ---- MRFI ----------------------------------------------------------------------------------------------------------

class MrfiOnBoard : public testing::Test {
protected:
    MrfiOnBoard() {
        board.add(key(22), &first);
        board.add(key(23), &second);
    }

    TemporaryDirectory directory;
    MRFI first{directory / "first"};
    MRFI second{directory / "second"};
    OpenBoard board;
};

TEST_F(MrfiOnBoard, OperationsReachTheInterfaceOfTheIndex) {
    put(directory / "first/rssi", "1\n");
    put(directory / "second/rssi", "-61\n");
    put(directory / "second/type", "9\n");
    put(directory / "second/address", "0x12345678\n");
    put(directory / "second/autolink", "0\n");
    put(directory / "second/link", "");
    put(directory / "second/unlink", "");

    EXPECT_EQ(board.mrfi_rssi_get(0), 1);
    EXPECT_EQ(board.mrfi_rssi_get(1), -61);
    EXPECT_EQ(board.mrfi_type_get(1), 9);
    EXPECT_THAT(board.mrfi_address_get(1).byte, ElementsAre(0x78, 0x56, 0x34, 0x12));
    EXPECT_FALSE(board.mrfi_autolink_get(1));
    board.mrfi_autolink_set(1, true);
    EXPECT_EQ(content(directory / "second/autolink"), "1");
    EXPECT_TRUE(board.mrfi_autolink_get(1));
    const mrfi_addr_t peer = {{0x01, 0x00, 0xab, 0x00}};
    board.mrfi_link(1, &peer);
    EXPECT_EQ(content(directory / "second/link"), "0xab0001");
    EXPECT_EQ(content(directory / "second/unlink"), "");
    board.mrfi_unlink(1, &peer);
    EXPECT_EQ(content(directory / "second/unlink"), "0xab0001");
}

TEST_F(MrfiOnBoard, ListsAreOpenedOnTheInterfaceOfTheIndexAndReadOnTheirOwner) {
    put(directory / "second/connections", "0x12340001 1f 2 -60 1 0\n");
    put(directory / "second/devices", "0x12340001 3 7 probe\n");
    mrfi_enum_ctx* const connections = board.mrfi_connection_list_open(1);
    mrfi_enum_ctx* const devices = board.mrfi_device_list_open(1);
    EXPECT_EQ(connections->owner(), &second);
    EXPECT_EQ(devices->owner(), &second);

    // The owner of the context is asked, whatever the board holds.
    Board empty;
    mrfi_connection_t connection = {};
    EXPECT_TRUE(empty.mrfi_connection_list_read(connections, &connection));
    EXPECT_EQ(connection.value1, 0x1f);
    EXPECT_FALSE(empty.mrfi_connection_list_read(connections, &connection));
    mrfi_device_t device = {};
    EXPECT_TRUE(empty.mrfi_device_list_read(devices, &device));
    EXPECT_STREQ(device.name, "probe");
    EXPECT_FALSE(empty.mrfi_device_list_read(devices, &device));
    empty.mrfi_connection_list_close(connections);
    empty.mrfi_device_list_close(devices);
}

/** A context that tells of its end. */
class WatchedContext : public mrfi_enum_ctx {
public:
    WatchedContext(MRFI* owner, bool& gone) : mrfi_enum_ctx("/nowhere", owner), gone_(gone) {}
    ~WatchedContext() override { gone_ = true; }

private:
    bool& gone_;
};

TEST_F(MrfiOnBoard, ClosingDestroysTheContext) {
    bool gone = false;
    board.mrfi_connection_list_close(new WatchedContext(&first, gone));
    EXPECT_TRUE(gone);
    gone = false;
    board.mrfi_device_list_close(new WatchedContext(&first, gone));
    EXPECT_TRUE(gone);
}

TEST_F(MrfiOnBoard, ContextsThatAreNullOrHaveNoOwnerAreNotValid) {
    put(directory / "connections", "1\n");
    mrfi_enum_ctx ownerless(directory / "connections", nullptr);
    for (mrfi_enum_ctx* const context : {static_cast<mrfi_enum_ctx*>(nullptr), &ownerless}) {
        mrfi_connection_t connection = {};
        mrfi_device_t device = {};
        const std::function<void()> operations[] = {
            [&] { board.mrfi_connection_list_read(context, &connection); },
            [&] { board.mrfi_connection_list_close(context); },
            [&] { board.mrfi_device_list_read(context, &device); },
            [&] { board.mrfi_device_list_close(context); },
        };
        for (const auto& operation : operations)
            EXPECT_EQ(thrown(operation), "invalid_argument enumeration context not valid");
    }
    std::string line;
    EXPECT_TRUE(ownerless.next(line)) << "a refused read has taken the line";
}

TEST(Board, MrfiClassGetNeedsNoInterface) {
    Board board;
    const mrfi_addr_t address = {{0x78, 0x56, 0x34, 0x12}};
    EXPECT_EQ(board.mrfi_class_get(&address), 0x1234U);
}

// ---- What is missing -----------------------------------------------------------------------------------------------

struct Operation {
    const char* name;
    std::function<void(Board&, const int& index)> call;
    bool indexed = true;
};

Operation without_index(const char* name, void (*call)(Board&)) {
    return {.name = name, .call = [call](Board& board, const int&) { call(board); }, .indexed = false};
}

std::vector<Operation> keyed_operations() {
    static led_color_t color;
    static io_config_t config;
    static thermal_state_t thermal;
    static wifi_info_t wifi;
    static bluetooth_info_t bluetooth;
    static platform_info_t platform;
    static mrfi_addr_t address;
    static attitude_t attitude;
    static car_motion_t motion;
    static serial_device_info_t device;
    static gps_info_t gps;
    return {
        {"backlight_set", [](Board& b, const int& i) { b.backlight_set(i, 0); }},
        {"backlight_get", [](Board& b, const int& i) { b.backlight_get(i); }},
        {"display_set", [](Board& b, const int& i) { b.display_set(i, 0); }},
        {"display_get", [](Board& b, const int& i) { b.display_get(i); }},
        {"led_color_set", [](Board& b, const int& i) { b.led_color_set(i, &color); }},
        {"led_color_get", [](Board& b, const int& i) { b.led_color_get(i, &color); }},
        {"io_set", [](Board& b, const int& i) { b.io_set(i, 0); }},
        {"io_get", [](Board& b, const int& i) { b.io_get(i); }},
        {"io_config_set", [](Board& b, const int& i) { b.io_config_set(i, &config); }},
        {"io_config_get", [](Board& b, const int& i) { b.io_config_get(i); }},
        {"thermal_state_get", [](Board& b, const int& i) { b.thermal_state_get(i, &thermal); }},
        without_index("wifi_antenna_set", [](Board& b) { b.wifi_antenna_set(0); }),
        without_index("wifi_info_get", [](Board& b) { b.wifi_info_get(&wifi); }),
        without_index("bluetooth_antenna_set", [](Board& b) { b.bluetooth_antenna_set(0); }),
        without_index("bluetooth_info_get", [](Board& b) { b.bluetooth_info_get(&bluetooth); }),
        without_index("power_shutdown", [](Board& b) { b.power_shutdown(); }),
        without_index("power_reboot", [](Board& b) { b.power_reboot(); }),
        without_index("power_suspend", [](Board& b) { b.power_suspend(); }),
        without_index("watchdog_enable", [](Board& b) { b.watchdog_enable(1); }),
        without_index("watchdog_disable", [](Board& b) { b.watchdog_disable(); }),
        without_index("watchdog_refresh", [](Board& b) { b.watchdog_refresh(); }),
        without_index("platform_info_get", [](Board& b) { b.platform_info_get(&platform, sizeof platform); }),
        without_index("platform_uid_get", [](Board& b) { b.platform_uid_get(); }),
        without_index("platform_oemid_get", [](Board& b) { b.platform_oemid_get(); }),
        without_index("platform_mid_get", [](Board& b) { b.platform_mid_get(); }),
        without_index("platform_can_manuf_code_get", [](Board& b) { b.platform_can_manuf_code_get(); }),
        without_index("platform_can_unique_num_get", [](Board& b) { b.platform_can_unique_num_get(); }),
        {"mrfi_rssi_get", [](Board& b, const int& i) { b.mrfi_rssi_get(i); }},
        {"mrfi_type_get", [](Board& b, const int& i) { b.mrfi_type_get(i); }},
        {"mrfi_address_get", [](Board& b, const int& i) { b.mrfi_address_get(i); }},
        {"mrfi_autolink_set", [](Board& b, const int& i) { b.mrfi_autolink_set(i, true); }},
        {"mrfi_autolink_get", [](Board& b, const int& i) { b.mrfi_autolink_get(i); }},
        {"mrfi_link", [](Board& b, const int& i) { b.mrfi_link(i, &address); }},
        {"mrfi_unlink", [](Board& b, const int& i) { b.mrfi_unlink(i, &address); }},
        {"mrfi_connection_list_open", [](Board& b, const int& i) { b.mrfi_connection_list_open(i); }},
        {"mrfi_device_list_open", [](Board& b, const int& i) { b.mrfi_device_list_open(i); }},
        without_index("attitude_get", [](Board& b) { b.attitude_get(&attitude); }),
        without_index("car_motion_get", [](Board& b) { b.car_motion_get(&motion); }),
        {"serial_mux", [](Board& b, const int& i) { b.serial_mux(i, 0); }},
        {"serial_device_info_get", [](Board& b, const int& i) { b.serial_device_info_get(i, &device); }},
        {"serial_alt_func_has", [](Board& b, const int& i) { b.serial_alt_func_has(i, 0); }},
        {"serial_alt_func_set", [](Board& b, const int& i) { b.serial_alt_func_set(i, 0); }},
        without_index("gps_info_get", [](Board& b) { b.gps_info_get(&gps); }),
    };
}

class KeyedOperation : public testing::TestWithParam<Operation> {
protected:
    /** With these indices, or with the only one where the operation has none. */
    static void expect_missing(Board& board, std::initializer_list<int> indices) {
        for (const int index : indices) {
            if (!GetParam().indexed && index != 0) continue;
            EXPECT_EQ(thrown([&] { GetParam().call(board, index); }), missing) << "index " << index;
        }
    }
};

TEST_P(KeyedOperation, OnAnEmptyBoardIsNotSupported) {
    Board board;
    expect_missing(board, {0, 1, -1, 43, INT_MAX, INT_MIN});
}

// Every key holds something, but nothing of the family: an index outside the family must not be followed.
TEST_P(KeyedOperation, OnAResourceOfAnotherFamilyIsNotSupported) {
    OpenBoard board;
    Resource marker;
    for (int number = -2; number <= 60; ++number) board.add(key(number), &marker);
    board.add(key(INT_MAX), &marker);
    board.add(key(INT_MIN), &marker);
    expect_missing(board, {0, 1, -1, INT_MAX, INT_MAX - 15, INT_MIN});
}

INSTANTIATE_TEST_SUITE_P(Board, KeyedOperation, testing::ValuesIn(keyed_operations()),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(Board, IndexIntoANeighbouringFamilyIsNotSupported) {
    OpenBoard board;
    StrictMock<LedGroupMock> group;
    StrictMock<DisplayMock> display;
    board.add(key(40), &group);
    board.add(key(41), &display);
    led_color_t color = {};
    EXPECT_EQ(thrown([&] { board.display_get(-1); }), missing);
    EXPECT_EQ(thrown([&] { board.led_color_get(1, &color); }), missing);
}

TEST(Board, IndexThatOverflowsDoesNotWrapToTheSmallestKeys) {
    Registered<BacklightMock> at(16, INT_MIN + 15);
    EXPECT_EQ(thrown([&] { at.board.backlight_get(INT_MAX); }), missing);
}

// ---- The registry --------------------------------------------------------------------------------------------------

TEST(Board, FindOnAnEmptyBoardIsNull) {
    Board board;
    for (int number = -1; number <= 60; ++number) {
        EXPECT_EQ(board.find(key(number)), nullptr);
        EXPECT_FALSE(board.present(key(number)));
    }
}

TEST(Board, AddReplacesAndDestroysNothing) {
    class Watched : public Resource {
    public:
        explicit Watched(int& destroyed) : destroyed_(destroyed) {}
        ~Watched() override { ++destroyed_; }

    private:
        int& destroyed_;
    };

    int destroyed = 0;
    {
        Watched first(destroyed);
        Watched second(destroyed);
        auto* const board = new Board;
        board->add(key(38), &first);
        EXPECT_EQ(board->find(key(38)), &first);
        EXPECT_TRUE(board->present(key(38)));
        board->add(key(38), &second);
        EXPECT_EQ(board->find(key(38)), &second);
        EXPECT_EQ(board->find(key(37)), nullptr);
        EXPECT_EQ(board->find(key(39)), nullptr);
        delete board;
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 2);
}

TEST(Board, AddingNullIsNotPresent) {
    Board board;
    board.add(key(38), nullptr);
    EXPECT_FALSE(board.present(key(38)));
}

TEST(Board, HardwareTableOfABoardWithoutPlatformIsInvalid) {
    Board board;
    EXPECT_EQ(thrown([&] { board.platform_hw_get(27); }), system_error(EINVAL));
}

bool needs_hardware_table(int number) {
    return number == 10 || number == 11 || number == 12 || number == 14 || number == 37 || number == 39;
}

TEST(Board, UnreadableHardwareTableLeavesAllOtherResourcesInPlace) {
    Board board;
    Resource marker;
    for (int number = -1; number <= 60; ++number) {
        EXPECT_EQ(board.supported(key(number)), !needs_hardware_table(number)) << number;
        board.add(key(number), &marker);
        EXPECT_EQ(board.present(key(number)), !needs_hardware_table(number)) << number;
    }
    EXPECT_TRUE(board.supported(key(INT_MAX)));
    EXPECT_TRUE(board.supported(key(INT_MIN)));
}

/** A board whose hardware table answers what the test says, and counts the questions. */
class BoardWithTable : public Board {
public:
    MOCK_METHOD(int, platform_hw_get, (int), (override));
};

TEST(Board, SupportedReadsOneFieldForSixKeysAndNoneForTheOthers) {
    for (int number = 0; number <= 60; ++number) {
        StrictMock<BoardWithTable> board;
        const int field = number == 14 ? 24 : number == 12 ? 10 : 27;
        const int fitted = number == 14 || number == 12 ? 7 : 14;
        const int not_fitted = number == 14 || number == 12 ? 0 : 15;
        if (needs_hardware_table(number)) {
            EXPECT_CALL(board, platform_hw_get(field))
                .WillOnce(Return(fitted))
                .WillOnce(Return(not_fitted))
                .WillOnce(Throw(42))
                .WillOnce(Throw(std::runtime_error("unreadable")));
            EXPECT_TRUE(board.supported(key(number))) << number;
            EXPECT_FALSE(board.supported(key(number))) << number;
            EXPECT_FALSE(board.supported(key(number))) << number;
        }
        EXPECT_EQ(board.supported(key(number)), !needs_hardware_table(number)) << number;
    }
}

TEST(Board, AddAsksSupportedAndDropsWhatIsNot) {
    class ClosedBoard : public Board {
    public:
        MOCK_METHOD(bool, supported, (const type&), (override));
    };
    StrictMock<ClosedBoard> board;
    Resource marker;
    EXPECT_CALL(board, supported(key(3))).WillOnce(Return(false)).WillOnce(Return(true)).WillOnce(Return(false));
    board.add(key(3), &marker);
    EXPECT_EQ(board.find(key(3)), nullptr);
    board.add(key(3), &marker);
    EXPECT_EQ(board.find(key(3)), &marker);
    Resource other;
    board.add(key(3), &other);
    EXPECT_EQ(board.find(key(3)), &marker);
}

TEST(Board, PresenceDispatchAndHardwareTableAskFind) {
    class LostBoard : public Board {
    public:
        MOCK_METHOD(Resource*, find, (const type&), (override));
    };
    StrictMock<LostBoard> board;
    Resource marker;
    EXPECT_CALL(board, find(key(39))).WillOnce(Return(&marker));
    EXPECT_TRUE(board.es_present());
    StrictMock<BacklightMock> backlight;
    EXPECT_CALL(board, find(key(17))).WillOnce(Return(&backlight));
    EXPECT_CALL(backlight, set(3));
    board.backlight_set(1, 3);
    EXPECT_CALL(board, find(key(21))).WillOnce(Return(nullptr));
    EXPECT_EQ(thrown([&] { board.platform_hw_get(27); }), system_error(EINVAL));
}

TEST(Board, PresenceOfAFamilyAsksPresent) {
    class AskedBoard : public Board {
    public:
        MOCK_METHOD(bool, present, (const type&), (override));
    };
    StrictMock<AskedBoard> board;
    const InSequence in_order;
    EXPECT_CALL(board, present(key(12))).WillOnce(Return(true));
    EXPECT_CALL(board, present(key(14))).WillOnce(Return(true));
    EXPECT_CALL(board, present(key(39))).WillOnce(Return(true));
    EXPECT_TRUE(board.wifi_present());
    EXPECT_TRUE(board.bluetooth_present());
    EXPECT_TRUE(board.es_present());
}

TEST(ResourceType, KeysAreThoseOfTheCInterface) {
    EXPECT_EQ(sizeof(type), 4U);
    const struct {
        type name;
        int number;
    } keys[] = {{type::io, 0},
                {type::wifi, 12},
                {type::wifi_antenna, 13},
                {type::bluetooth, 14},
                {type::bluetooth_antenna, 15},
                {type::backlight, 16},
                {type::power, 19},
                {type::watchdog, 20},
                {type::platform, 21},
                {type::mrfi, 22},
                {type::attitude, 24},
                {type::car_motion, 25},
                {type::serial_alt_func, 26},
                {type::serial_mux, 31},
                {type::serial_device, 36},
                {type::gps, 38},
                {type::echosounder, 39},
                {type::led_group, 40},
                {type::display, 41},
                {type::thermal, 43}};
    for (const auto& key : keys) EXPECT_EQ(static_cast<int>(key.name), key.number);
}

TEST(ResourceType, ResourceHoldsNothingButItsVirtualTable) {
    EXPECT_EQ(sizeof(Resource), sizeof(void*));
}

}  // namespace
