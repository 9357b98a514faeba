// SPDX-License-Identifier: MIT
#include "core/board.h"

#include <gmock/gmock.h>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
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
using testing::Pair;
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using namespace Velmor;
using namespace testing_support;

namespace {

using type = Resource::type;

/** A board that accepts every resource: the rules of the hardware table have tests of their own. */
class OpenBoard : public Board {
public:
    bool supported(const type& /*key*/) override { return true; }
};

type key(int number) {
    return static_cast<type>(number);
}

const std::string missing = system_error(EOPNOTSUPP);

/** Counts its destructions. */
template <typename Base>
class Counted : public Base {
public:
    using Base::Base;
    ~Counted() override { ++destroyed; }

    inline static int destroyed = 0;
};

// ---- Stand-ins for resources, which note their calls ---------------------------------------------------------------

/** The calls that have reached stand-ins, such as "set 200". */
std::vector<std::pair<const Resource*, std::string>> calls;

/** What the stand-ins return. */
std::uint32_t answer = 0;

/** An operation and its arguments. A record is passed, and shown, as its address. */
template <typename... Arguments>
std::string call_text(std::string operation, const Arguments&... arguments) {
    ((operation += " " + testing::PrintToString(arguments)), ...);
    return operation;
}

template <typename... Arguments>
std::uint32_t note(const Resource* resource, const std::string& operation, const Arguments&... arguments) {
    calls.emplace_back(resource, call_text(operation, arguments...));
    return answer;
}

struct BacklightStandIn : Backlight {
    void set(std::uint32_t level) override { note(this, "set", level); }
    std::uint32_t get() override { return note(this, "get"); }
};

struct DisplayStandIn : Display {
    void set(std::uint32_t on) override { note(this, "set", on); }
    bool get() override { return note(this, "get") != 0; }
};

struct LedGroupStandIn : LedGroup {
    void set(const led_color_t& color) override { note(this, "set", &color); }
    void get(led_color_t& color) override { note(this, "get", &color); }
};

struct IOStandIn : IO {
    void set(const io_value_t& value) override { note(this, "set", value); }
    io_value_t get() override { return static_cast<io_value_t>(note(this, "get")); }
};

struct IOPWMStandIn : IOStandIn, PWM {
    void set_duty(std::uint32_t percent) override { note(this, "set_duty", percent); }
    void set_frequency(int hertz, int percent) override { note(this, "set_frequency", hertz, percent); }
    std::uint32_t get_duty() const override { return note(this, "get_duty"), 56; }
    int get_frequency() const override { return note(this, "get_frequency"), 1234; }
    void enable() override { note(this, "enable"); }
    void disable() override { note(this, "disable"); }
};

struct ThermalStandIn : Thermal {
    ThermalStandIn() : Thermal("/nowhere") {}
    void state_get(thermal_state_t& state) override { note(this, "state_get", &state); }
};

struct AntennaStandIn : Antenna {
    AntennaStandIn() : Antenna(0) {}
    void set(const antenna_t& antenna) override { note(this, "set", antenna); }
};

template <typename Info>
struct RadioStandIn : Radio<Info> {
    RadioStandIn() : Radio<Info>("name", 0) {}
    void info_get(Info& info) override { note(this, "info_get", &info); }
};

// HAZARD: every operation is overridden, none may reach the machine.
struct PowerStandIn : Power {
    void shutdown() override { note(this, "shutdown"); }
    void suspend() override { note(this, "suspend"); }
    void reboot() override { note(this, "reboot"); }
    void run_program(const std::string& path) override { note(this, "run_program", path); }
};

struct WatchdogStandIn : Watchdog {
    WatchdogStandIn() : Watchdog("/nowhere") {}
    void enable(int timeout_s) override { note(this, "enable", timeout_s); }
    void disable() override { note(this, "disable"); }
    void refresh() override { note(this, "refresh"); }
};

struct AttitudeStandIn : Attitude {
    AttitudeStandIn() : Attitude("/nowhere") {}
    void get(attitude_t& attitude) override { note(this, "get", &attitude); }
};

struct CarMotionStandIn : CarMotion {
    CarMotionStandIn() : CarMotion("/nowhere") {}
    void get(car_motion_t& motion) override { note(this, "get", &motion); }
};

struct SerialMuxStandIn : SerialMux {
    SerialMuxStandIn() : SerialMux({}, {}) {}
    void mux(serial_mux_port_t port) override { note(this, "mux", port); }
};

struct SerialDeviceStandIn : SerialDevice {
    SerialDeviceStandIn() : SerialDevice("/dev/null", 0, 0) {}
    void get_info(serial_device_info_t& info) override { note(this, "get_info", &info); }
};

struct SerialAltFuncStandIn : SerialAltFunc {
    SerialAltFuncStandIn() : SerialAltFunc({}) {}
    void set(const serial_alt_func_t& function) override { note(this, "set", function); }
    bool has(const serial_alt_func_t& function) override { return note(this, "has", function) != 0; }
};

struct GpsStandIn : Gps {
    GpsStandIn() : Gps(0, 0) {}
    void info_get(gps_info_t& info) override { note(this, "info_get", &info); }
};

// ---- The operations that look for a resource -----------------------------------------------------------------------

/** A board with a resource of no family at every key, including those that an index outside its family leads to. */
struct MarkedBoard : OpenBoard {
    MarkedBoard() {
        for (int number = -2; number <= 60; ++number) add(key(number), &marker);
        add(key(INT_MAX), &marker);
        add(key(INT_MIN), &marker);
    }
    Resource marker;
};

/** The operation finds its resource neither on an empty board nor among resources of no family. */
void expect_missing(const std::string& name, const std::function<void(Board&)>& operation) {
    Board empty;
    MarkedBoard marked;
    EXPECT_EQ(thrown([&] { operation(empty); }), missing) << name;
    EXPECT_EQ(thrown([&] { operation(marked); }), missing) << name;
}

void expect_missing_at_any_index(const std::string& name,
                                 const std::function<void(Board&, const int& index)>& operation) {
    for (const int index : {0, 1, -1, 43, INT_MAX, INT_MAX - 15, INT_MIN})
        expect_missing(name + " " + std::to_string(index), [&](Board& board) { operation(board, index); });
}

/** The operation makes this call of the stand-in at this key, and none of the stand-ins at the other keys. */
template <typename StandIn>
void expect_call(const char* name, int number, const std::string& call, const std::function<void(Board&)>& operation) {
    StandIn resource;
    StandIn other;
    OpenBoard board;
    for (int others = -2; others <= 60; ++others) board.add(key(others), &other);
    board.add(key(number), &resource);
    calls.clear();
    EXPECT_EQ(thrown([&] { operation(board); }), "nothing") << name;
    EXPECT_THAT(calls, ElementsAre(Pair(&resource, call))) << name;
}

/** An operation with an index, the first key of its family, and the resource's operation with the same arguments. */
template <typename StandIn, typename Result, typename... Parameters>
void expect_indexed(const char* name, Result (Board::*operation)(const int&, Parameters...), int first_key,
                    const char* resources, std::type_identity_t<Parameters>... arguments) {
    const auto run = [&](Board& board, const int& index) { (board.*operation)(index, arguments...); };
    expect_missing_at_any_index(name, run);
    expect_call<StandIn>(name, first_key + 2, call_text(resources, arguments...), [&](Board& board) { run(board, 2); });
}

template <typename StandIn, typename Result, typename... Parameters>
void expect_single(const char* name, Result (Board::*operation)(Parameters...), int number, const char* resources,
                   std::type_identity_t<Parameters>... arguments) {
    const auto run = [&](Board& board) { (board.*operation)(arguments...); };
    expect_missing(name, run);
    expect_call<StandIn>(name, number, call_text(resources, arguments...), run);
}

/** The caller's record of each type. */
template <typename Record>
Record record = {};

TEST(Board, OperationCallsTheResourceAtItsKeyAndIsNotSupportedWithoutOne) {
    expect_indexed<BacklightStandIn>("backlight_set", &Board::backlight_set, 16, "set", 200);
    expect_indexed<BacklightStandIn>("backlight_get", &Board::backlight_get, 16, "get");
    expect_indexed<DisplayStandIn>("display_set", &Board::display_set, 41, "set", 2);
    expect_indexed<DisplayStandIn>("display_get", &Board::display_get, 41, "get");
    expect_indexed<LedGroupStandIn>("led_color_set", &Board::led_color_set, 40, "set", &record<led_color_t>);
    expect_indexed<LedGroupStandIn>("led_color_get", &Board::led_color_get, 40, "get", &record<led_color_t>);
    expect_indexed<IOStandIn>("io_set", &Board::io_set, 0, "set", -3);
    expect_indexed<IOStandIn>("io_get", &Board::io_get, 0, "get");
    expect_indexed<ThermalStandIn>("thermal_state_get", &Board::thermal_state_get, 43, "state_get",
                                   &record<thermal_state_t>);
    expect_single<AntennaStandIn>("wifi_antenna_set", &Board::wifi_antenna_set, 13, "set", 1);
    expect_single<RadioStandIn<wifi_info_t>>("wifi_info_get", &Board::wifi_info_get, 12, "info_get",
                                             &record<wifi_info_t>);
    expect_single<AntennaStandIn>("bluetooth_antenna_set", &Board::bluetooth_antenna_set, 15, "set", 7);
    expect_single<RadioStandIn<bluetooth_info_t>>("bluetooth_info_get", &Board::bluetooth_info_get, 14, "info_get",
                                                  &record<bluetooth_info_t>);
    expect_single<PowerStandIn>("power_shutdown", &Board::power_shutdown, 19, "shutdown");
    expect_single<PowerStandIn>("power_reboot", &Board::power_reboot, 19, "reboot");
    expect_single<PowerStandIn>("power_suspend", &Board::power_suspend, 19, "suspend");
    expect_single<WatchdogStandIn>("watchdog_enable", &Board::watchdog_enable, 20, "enable", -30);
    expect_single<WatchdogStandIn>("watchdog_disable", &Board::watchdog_disable, 20, "disable");
    expect_single<WatchdogStandIn>("watchdog_refresh", &Board::watchdog_refresh, 20, "refresh");
    expect_single<AttitudeStandIn>("attitude_get", &Board::attitude_get, 24, "get", &record<attitude_t>);
    expect_single<CarMotionStandIn>("car_motion_get", &Board::car_motion_get, 25, "get", &record<car_motion_t>);
    expect_indexed<SerialMuxStandIn>("serial_mux", &Board::serial_mux, 31, "mux", -2);
    expect_indexed<SerialDeviceStandIn>("serial_device_info_get", &Board::serial_device_info_get, 36, "get_info",
                                        &record<serial_device_info_t>);
    expect_indexed<SerialAltFuncStandIn>("serial_alt_func_has", &Board::serial_alt_func_has, 26, "has", 1);
    expect_indexed<SerialAltFuncStandIn>("serial_alt_func_set", &Board::serial_alt_func_set, 26, "set", 3);
    expect_single<GpsStandIn>("gps_info_get", &Board::gps_info_get, 38, "info_get", &record<gps_info_t>);
}

TEST(Board, OperationOfPwmChannelPlatformOrMrfiIsNotSupportedWithoutAResource) {
    const auto io_config_set = [](Board& board, const int& io) { board.io_config_set(io, &record<io_config_t>); };
    const auto info_get = [](Board& board) {
        board.platform_info_get(&record<platform_info_t>, sizeof(platform_info_t));
    };
    const auto autolink_set = [](Board& board, const int& index) { board.mrfi_autolink_set(index, true); };
    const auto link = [](Board& board, const int& index) { board.mrfi_link(index, &record<mrfi_addr_t>); };
    const auto unlink = [](Board& board, const int& index) { board.mrfi_unlink(index, &record<mrfi_addr_t>); };
    expect_missing_at_any_index("io_config_set", io_config_set);
    expect_missing_at_any_index("io_config_get", &Board::io_config_get);
    expect_missing("platform_info_get", info_get);
    expect_missing("platform_uid_get", &Board::platform_uid_get);
    expect_missing("platform_oemid_get", &Board::platform_oemid_get);
    expect_missing("platform_mid_get", &Board::platform_mid_get);
    expect_missing("platform_can_manuf_code_get", &Board::platform_can_manuf_code_get);
    expect_missing("platform_can_unique_num_get", &Board::platform_can_unique_num_get);
    expect_missing_at_any_index("mrfi_rssi_get", &Board::mrfi_rssi_get);
    expect_missing_at_any_index("mrfi_type_get", &Board::mrfi_type_get);
    expect_missing_at_any_index("mrfi_address_get", &Board::mrfi_address_get);
    expect_missing_at_any_index("mrfi_autolink_set", autolink_set);
    expect_missing_at_any_index("mrfi_autolink_get", &Board::mrfi_autolink_get);
    expect_missing_at_any_index("mrfi_link", link);
    expect_missing_at_any_index("mrfi_unlink", unlink);
    expect_missing_at_any_index("mrfi_connection_list_open", &Board::mrfi_connection_list_open);
    expect_missing_at_any_index("mrfi_device_list_open", &Board::mrfi_device_list_open);
}

TEST(Board, AnswersOfResourcesAreReturned) {
    OpenBoard board;
    BacklightStandIn backlight;
    DisplayStandIn display;
    IOStandIn line;
    SerialAltFuncStandIn port;
    board.add(key(16), &backlight);
    board.add(key(41), &display);
    board.add(key(0), &line);
    board.add(key(26), &port);
    for (const std::uint32_t each : {0U, 1U, 77U}) {
        answer = each;
        EXPECT_EQ(board.backlight_get(0), each);
        EXPECT_EQ(board.display_get(0), each != 0);
        EXPECT_EQ(board.io_get(0), static_cast<io_value_t>(each));
        EXPECT_EQ(board.serial_alt_func_has(0, 1), each != 0);
    }
}

TEST(Board, IndexIntoTheNextFamilyOrBeyondTheLargestKeyIsNotSupported) {
    OpenBoard board;
    LedGroupStandIn group;
    DisplayStandIn display;
    BacklightStandIn backlight;
    board.add(key(40), &group);
    board.add(key(41), &display);
    board.add(key(16), &backlight);
    board.add(key(INT_MIN + 15), &backlight);
    EXPECT_EQ(thrown([&] { board.display_get(-1); }), missing);
    EXPECT_EQ(thrown([&] { board.led_color_get(1, &record<led_color_t>); }), missing);
    EXPECT_EQ(thrown([&] { board.backlight_get(INT_MAX); }), missing) << "the key must not wrap around";
}

TEST(Board, PwmChannelIsALineWithFrequencyAndDuty) {
    OpenBoard board;
    IOPWMStandIn channel;
    board.add(key(3), &channel);
    answer = 5;
    calls.clear();
    board.io_set(3, 1);
    EXPECT_EQ(board.io_get(3), 5);
    const io_config_t config = {.duty = -1, .frequency = 2700};
    board.io_config_set(3, &config);
    const io_config_t current = board.io_config_get(3);
    EXPECT_EQ(current.frequency, 1234);
    EXPECT_EQ(current.duty, 56);
    EXPECT_THAT(calls,
                ElementsAre(Pair(&channel, "set 1"), Pair(&channel, "get"), Pair(&channel, "set_frequency 2700 -1"),
                            Pair(&channel, "get_frequency"), Pair(&channel, "get_duty")));
}

TEST(Board, FrequencyAndDutyOfALineThatIsNoPwmChannelAreNotSupported) {
    OpenBoard board;
    IOStandIn line;
    board.add(key(9), &line);
    EXPECT_EQ(thrown([&] { board.io_config_set(9, &record<io_config_t>); }), missing);
    EXPECT_EQ(thrown([&] { board.io_config_get(9); }), missing);
}

TEST(Board, ExceptionsOfResourcesPassUnchanged) {
    struct ThrowingBacklight : Backlight {
        void set(std::uint32_t /*level*/) override { throw std::range_error("out of range"); }
        std::uint32_t get() override { throw 42; }
    };
    OpenBoard board;
    ThrowingBacklight backlight;
    board.add(key(17), &backlight);
    EXPECT_THROW(board.backlight_set(1, 0), std::range_error);
    EXPECT_THROW(board.backlight_get(1), int);
}

TEST(Board, AnyResourceAtItsKeyIsPresent) {
    OpenBoard board;
    EXPECT_FALSE(board.wifi_present());
    EXPECT_FALSE(board.bluetooth_present());
    EXPECT_FALSE(board.es_present());

    Resource marker;
    GpsStandIn other;
    board.add(key(12), &marker);
    EXPECT_TRUE(board.wifi_present());
    EXPECT_FALSE(board.bluetooth_present());
    board.add(key(14), &marker);
    EXPECT_TRUE(board.bluetooth_present());
    EXPECT_FALSE(board.es_present());
    board.add(key(39), &other);
    EXPECT_TRUE(board.es_present());
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

TEST_F(MrfiOnBoard, OperationsReachTheInterfaceAtTheIndex) {
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

TEST_F(MrfiOnBoard, ListsAreOpenedOnTheInterfaceAtTheIndexAndReadThroughTheirOwner) {
    put(directory / "second/connections", "0x12340001 1f 2 -60 1 0\n");
    put(directory / "second/devices", "0x12340001 3 7 probe\n");
    mrfi_enum_ctx* const connections = board.mrfi_connection_list_open(1);
    mrfi_enum_ctx* const devices = board.mrfi_device_list_open(1);
    EXPECT_EQ(connections->owner(), &second);
    EXPECT_EQ(devices->owner(), &second);

    // A list is read through its owner, whatever the board holds.
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

TEST_F(MrfiOnBoard, ClosingDestroysTheContext) {
    using Context = Counted<mrfi_enum_ctx>;
    Context::destroyed = 0;
    board.mrfi_connection_list_close(new Context("/nowhere", &first));
    EXPECT_EQ(Context::destroyed, 1);
    board.mrfi_device_list_close(new Context("/nowhere", &first));
    EXPECT_EQ(Context::destroyed, 2);
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
    EXPECT_TRUE(ownerless.next(line)) << "a refused read must not take the line";
}

TEST(Board, MrfiClassGetNeedsNoInterface) {
    Board board;
    const mrfi_addr_t address = {{0x78, 0x56, 0x34, 0x12}};
    EXPECT_EQ(board.mrfi_class_get(&address), 0x1234U);
}

// ---- The registry --------------------------------------------------------------------------------------------------

TEST(Board, EmptyBoardHasNoResourceAndNoHardwareTable) {
    Board board;
    for (int number = -1; number <= 60; ++number) {
        EXPECT_EQ(board.find(key(number)), nullptr);
        EXPECT_FALSE(board.present(key(number)));
    }
    EXPECT_EQ(thrown([&] { board.platform_hw_get(27); }), system_error(EINVAL));
}

TEST(Board, AddReplacesAResourceAndDestroysNone) {
    Counted<Resource> first;
    Counted<Resource> second;
    Counted<Resource>::destroyed = 0;
    {
        Board board;
        board.add(key(38), &first);
        EXPECT_EQ(board.find(key(38)), &first);
        EXPECT_TRUE(board.present(key(38)));
        board.add(key(38), &second);
        EXPECT_EQ(board.find(key(38)), &second);
        EXPECT_EQ(board.find(key(37)), nullptr);
        EXPECT_EQ(board.find(key(39)), nullptr);
        board.add(key(38), nullptr);
        EXPECT_FALSE(board.present(key(38)));
    }
    EXPECT_EQ(Counted<Resource>::destroyed, 0);
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

TEST(Board, AddIgnoresWhatIsNotSupported) {
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

TEST(Board, PresenceDispatchAndHardwareTableCallAnOverriddenFind) {
    class FindingBoard : public Board {
    public:
        MOCK_METHOD(Resource*, find, (const type&), (override));
    };
    StrictMock<FindingBoard> board;
    Resource marker;
    EXPECT_CALL(board, find(key(39))).WillOnce(Return(&marker));
    EXPECT_TRUE(board.es_present());
    BacklightStandIn backlight;
    calls.clear();
    EXPECT_CALL(board, find(key(17))).WillOnce(Return(&backlight));
    board.backlight_set(1, 3);
    EXPECT_THAT(calls, ElementsAre(Pair(&backlight, "set 3")));
    EXPECT_CALL(board, find(key(21))).WillOnce(Return(nullptr));
    EXPECT_EQ(thrown([&] { board.platform_hw_get(27); }), system_error(EINVAL));
}

TEST(Board, PresenceOfAFamilyCallsAnOverriddenPresent) {
    class PresentingBoard : public Board {
    public:
        MOCK_METHOD(bool, present, (const type&), (override));
    };
    StrictMock<PresentingBoard> board;
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
    const std::pair<type, int> keys[] = {{type::io, 0},
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
    for (const auto& [name, number] : keys) EXPECT_EQ(static_cast<int>(name), number);
}

TEST(ResourceType, ResourceHasNoFields) {
    EXPECT_EQ(sizeof(Resource), sizeof(void*));
}

}  // namespace
