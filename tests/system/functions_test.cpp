// SPDX-License-Identifier: MIT
// Every exported function on the device's own board, as an application meets it. To the tests of all families in
// tests/families these add this board's results, missing and empty files, every variant of the hardware table, null
// pointers before the start of the board, and the watchdog's failing acts. tests/record has the acts of each call and
// their failures, power_test.cpp the functions that end the system.

#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>

#include "families/calls.h"
#include "support/exported_functions.h"
#include "support/null_calls.h"
#include "system/stand_in_ioctl.h"
#include "system/system_test.h"

using families::call_of;
using families::not_supported_result;
using testing::IsEmpty;
using namespace testing_support;

namespace {

constexpr char pwm_period[] = "/sys/devices/platform/mxc_pwm.1/period";
constexpr char pwm_duty[] = "/sys/devices/platform/mxc_pwm.1/duty";
constexpr char pwm_status[] = "/sys/devices/platform/mxc_pwm.1/status";
constexpr char echosounder_reset[] = "/sys/devices/platform/echosounder.0/reset";
constexpr char hardware_table[] = "/proc/platform/pht";
constexpr char watchdog_node[] = "/dev/watchdog";
const std::string zone = "/sys/class/thermal/thermal_zone0/";

// ---- The functions -------------------------------------------------------------------------------------------------

using Paths = std::vector<std::string>;

struct Function {
    std::string name;
    Scenario call;
    CallResult result = succeeds();
    std::string written_to = {};
    std::string written = {};
    Paths reads = {};
    Paths writes = {};
};

Paths platform_records() {
    Paths records = {"/etc/fs_version", "/proc/platform/compatibility_version"};
    for (const char* software : {"boot_", "splash_", "os_"})
        for (const char* key : {"date_day", "date_month", "date_year", "version_major", "version_minor",
                                "version_revision", "version_status", "version_build", "version_development"})
            records.push_back(std::string("/proc/platform/") + software + key);
    return records;
}

/** Every field of the record in the order of its bytes, and each byte between them that was written. */
std::string platform_text(const platform_info_t& info) {
    std::ostringstream text;
    text << "os " << +info.os_version_major << '.' << +info.os_version_minor << '.' << +info.os_version_revision
         << info.os_version_status << +info.os_version_build << ',' << +info.os_version_development << ' '
         << +info.os_date_day << '/' << +info.os_date_month << '/' << info.os_date_year << ", masks "
         << info.featuremask_low << ' ' << info.featuremask_high << ", compatibility " << info.compatibility_version
         << ", serial " << info.serial_number << ", kind " << +info.boot_info_kind << ", boot "
         << +info.boot_version_major << '.' << +info.boot_version_minor << '.' << +info.boot_version_revision
         << info.boot_version_status << +info.boot_version_build << ',' << +info.boot_version_development << ' '
         << +info.boot_date_day << '/' << +info.boot_date_month << '/' << info.boot_date_year << ", fs "
         << +info.fs_version_major << '.' << +info.fs_version_minor << '.' << +info.fs_version_revision
         << info.fs_version_status << +info.fs_version_build << ',' << +info.fs_version_development << ' '
         << +info.fs_date_day << '/' << +info.fs_date_month << '/' << info.fs_date_year << ", splash "
         << +info.splash_version_major << '.' << +info.splash_version_minor << '.' << +info.splash_version_revision
         << info.splash_version_status << +info.splash_version_build << ',' << +info.splash_version_development << ' '
         << +info.splash_date_day << '/' << +info.splash_date_month << '/' << info.splash_date_year;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&info);
    for (const int unused : {10, 11, 56, 57, 58, 59, 60, 61, 71, 94, 95})
        if (bytes[unused] != 0x5A) text << ", byte " << unused << " written";
    return text.str();
}

std::string read_platform_info() {
    platform_info_t info;
    std::memset(&info, 0x5A, sizeof info);
    const std::string text = answer([&] { return platform_info_get(&info, 0); });
    return text.starts_with("0") ? text + ": " + platform_text(info) : text;
}

/** The device's record, with this serial number. */
std::string platform_record(const std::string& serial) {
    return "os 3.4.5A42,0 5/6/2026, masks 0 0, compatibility 7, serial " + serial +
           ", kind 2, boot 1.2.3R40,0 3/4/2024, fs 2.1.3R17,1 24/12/2025, splash 2.3.4B41,1 4/5/2025";
}

/** A query that reads these files. */
Function query(const std::string& name, const Scenario& call, const std::string& value, const Paths& reads = {}) {
    return {.name = name, .call = call, .result = succeeds(value), .reads = reads};
}

/** A call that needs only this file and writes this to it. */
Function command(const std::string& name, const Scenario& call, const std::string& file, const std::string& written) {
    return {.name = name, .call = call, .written_to = file, .written = written, .writes = {file}};
}

std::vector<Function> fitted_functions() {
    return {
        command("backlight_set", call(backlight_set, 0, 255U), brightness, "7"),
        query("backlight_get", call(backlight_get, 0), "128", {brightness}),
        command("display_set", call(display_set, 0, 0U), blank, "1"),
        query("display_get", call(display_get, 0), "true", {blank}),
        command("io_set", call(io_set, 9, 7), gps_enable, "7"),
        query("io_get", call(io_get, 9), "1", {gps_enable}),
        {.name = "io_config_set",
         .call = call(io_config_set, 0, io_config_t{25, 1000}),
         .written_to = pwm_duty,
         .written = "250000",
         .reads = {pwm_period, pwm_duty},
         .writes = {pwm_period, pwm_duty}},
        query("io_config_get", call(io_config_get, 0), "2700 Hz 50 %", {pwm_period, pwm_duty}),
        query("thermal_state_get", call(thermal_state_get, 0), "45000 60000 75000 85000 95000",
              {zone + "temp", zone + "trip_point_0_temp", zone + "trip_point_1_temp", zone + "trip_point_2_temp",
               zone + "trip_point_3_temp"}),
        query("wifi_present", call(wifi_present), "true"),
        query("wifi_info_get", call(wifi_info_get), "wlan0 3"),
        query("bluetooth_present", call(bluetooth_present), "true"),
        query("bluetooth_info_get", call(bluetooth_info_get), "hci0 3"),
        // Without the file it succeeds too, so the file is not among those that it needs.
        {.name = "power_suspend", .call = call(power_suspend), .written_to = "/sys/power/state", .written = "mem"},
        {.name = "platform_info_get",
         .call = read_platform_info,
         .result = succeeds(platform_record("AB12C0FFEE")),
         .reads = platform_records()},
        query("platform_uid_get", call(platform_uid_get), "4660"),
        query("platform_oemid_get", call(platform_oemid_get), "5"),
        query("platform_mid_get", call(platform_mid_get), "42"),
        query("platform_can_manuf_code_get", call(platform_can_manuf_code_get), "557"),
        query("platform_can_unique_num_get", call(platform_can_unique_num_get), "74565"),
        query("mrfi_class_get", call_of("mrfi_class_get"), "4660"),
        query("serial_device_info_get", call(serial_device_info_get, 0), "/dev/ttymxc4 9600 0"),
        query("gps_info_get", call(gps_info_get), "1 1"),
        query("es_present", call(es_present), "true"),
    };
}

/** Other indices and values. */
std::vector<Function> more_calls() {
    return {
        command("backlight_set_off", call(backlight_set, 0, 0U), brightness, "0"),
        command("backlight_set_dimmest", call(backlight_set, 0, 1U), brightness, "1"),
        command("display_set_on", call(display_set, 0, 1U), blank, "0"),
        command("display_set_other", call(display_set, 0, 2U), blank, "3"),
        command("display_set_largest", call(display_set, 0, 0x80000001U), blank, "-2147483648"),
        command("io_set_pwm_on", call(io_set, 0, 1), pwm_status, "1"),
        command("io_set_pwm_off", call(io_set, 0, 0), pwm_status, "0"),
        command("io_set_pwm_other", call(io_set, 0, 2), pwm_status, "0\n"),
        command("io_set_echosounder", call(io_set, 11, -1), echosounder_reset, "-1"),
        query("io_get_pwm", call(io_get, 0), "0"),
        query("io_get_echosounder", call(io_get, 11), "0"),
        query("serial_device_info_get_1", call(serial_device_info_get, 1), "/dev/ttymxc3 38400 0"),
    };
}

const char* const absent_functions[] = {
    "led_color_set",         "led_color_get",      "wifi_antenna_set", "bluetooth_antenna_set",
    "mrfi_rssi_get",         "mrfi_type_get",      "mrfi_address_get", "mrfi_autolink_set",
    "mrfi_autolink_get",     "mrfi_link",          "mrfi_unlink",      "mrfi_connection_list_open",
    "mrfi_device_list_open", "attitude_get",       "car_motion_get",   "serial_mux",
    "serial_alt_func_has",   "serial_alt_func_set"};

/** On this board there is no list, and no context of one. */
const char* const list_functions[] = {"mrfi_connection_list_read", "mrfi_connection_list_close",
                                      "mrfi_device_list_read", "mrfi_device_list_close"};

// ---- On the device -------------------------------------------------------------------------------------------------

class OnDevice : public DeviceTest, public testing::WithParamInterface<Function> {};

TEST_P(OnDevice, SucceedsAndPrintsNothing) {
    EXPECT_THAT(run_in_child(GetParam().call), returns(GetParam().result));
    if (GetParam().written_to.empty()) return;
    EXPECT_EQ(content(GetParam().written_to), GetParam().written);
}

std::string name_of(const testing::TestParamInfo<Function>& instance) {
    return instance.param.name;
}

INSTANTIATE_TEST_SUITE_P(Functions, OnDevice, testing::ValuesIn(fitted_functions()), name_of);
INSTANTIATE_TEST_SUITE_P(MoreCalls, OnDevice, testing::ValuesIn(more_calls()), name_of);

class Functions : public DeviceTest {
protected:
    static void expect_not_supported(const std::string& function, int index = 0) {
        EXPECT_THAT(run_in_child(call_of(function, index)),
                    returns(not_supported_result(function), failed(function, not_supported)))
            << function << index;
    }
};

TEST_F(Functions, OfAbsentHardwareAreNotSupported) {
    for (const char* function : absent_functions) expect_not_supported(function);
}

// Index 2 and up of one family are the next one's keys, and the largest cannot be added to.
TEST_F(Functions, AtAMissingIndexAreNotSupported) {
    const struct {
        std::string function;
        int also_missing;
    } rows[] = {
        {"backlight_set", 1},     {"backlight_get", 1},
        {"display_set", 1},       {"display_get", 1},
        {"io_set", 12},           {"io_get", 12},
        {"io_config_set", 9},     {"io_config_get", 11},
        {"thermal_state_get", 1}, {"serial_device_info_get", 4},
    };
    for (const auto& row : rows)
        for (const int index : {-1, 2, 3, 16, -16, INT_MAX, INT_MAX - 15, INT_MIN, row.also_missing})
            expect_not_supported(row.function, index);
}

// NullPointer has the null context; this is one without an owner.
TEST_F(Functions, OfAListRefuseAContextThatIsNone) {
    for (const std::string function : list_functions)
        EXPECT_THAT(run_in_child(call_of(function)), returns(refuses(function.ends_with("_read") ? untouched : ""),
                                                             failed(function, families::context_not_valid)));
}

// ---- The hardware table --------------------------------------------------------------------------------------------

/** Change a byte of the hardware table: byte 4 holds field 10, byte 18 field 24 and byte 19 field 27. */
void set_table_byte(std::size_t index, const std::string& digits) {
    std::string table = content(hardware_table);
    table.replace(2 + 2 * index, 2, digits);
    put(hardware_table, table);
}

const CallResult absent = fails_with(EOPNOTSUPP, untouched);

std::string presence() {
    Out<bool> wifi;
    Out<bool> bluetooth;
    Out<bool> echosounder;
    return answer([&] { return wifi_present(wifi) + bluetooth_present(bluetooth) + es_present(echosounder); }, wifi,
                  bluetooth, echosounder);
}

class HardwareTable : public DeviceTest {};

TEST_F(HardwareTable, WithoutEchosounder) {
    set_table_byte(19, "2f");
    const ChildResult child =
        run_in_child(in_turn({presence, call(io_set, 11, 1), call(io_get, 11), call(serial_device_info_get, 1)}));
    EXPECT_THAT(child, returns({succeeds("true true false"), fails_with(EOPNOTSUPP), absent, absent},
                               failed("io_set", not_supported) + failed("io_get", not_supported) +
                                   failed("serial_device_info_get", not_supported)));
    EXPECT_EQ(content(echosounder_reset), "0\n");
}

TEST_F(HardwareTable, WithoutWifi) {
    set_table_byte(4, "e3");
    EXPECT_THAT(run_in_child(in_turn({presence, call(wifi_info_get)})),
                returns({succeeds("false true true"), absent}, failed("wifi_info_get", not_supported)));
}

TEST_F(HardwareTable, WithoutBluetooth) {
    set_table_byte(18, "1f");
    EXPECT_THAT(run_in_child(in_turn({presence, call(bluetooth_info_get)})),
                returns({succeeds("true false true"), absent}, failed("bluetooth_info_get", not_supported)));
}

TEST_F(HardwareTable, WithoutCanIdentity) {
    put("/proc/platform/pht_version", "2\n");
    for (const char* function : {"platform_can_manuf_code_get", "platform_can_unique_num_get"})
        EXPECT_THAT(run_in_child(call_of(function)), returns(absent, failed(function, not_supported)));
}

TEST_F(HardwareTable, CanNumberIsThatOfTheSerialNumberIfTheTableHoldsZero) {
    for (const std::size_t index : {7U, 8U, 9U}) set_table_byte(index, "00");
    const Scenario get = call(platform_can_unique_num_get);
    EXPECT_THAT(run_in_child(get), returns(succeeds("65518")));  // 0x00FFEE
    testing_support::remove("/etc/fs_version");
    EXPECT_THAT(run_in_child(get),
                returns(file_fails_with(ENOENT, untouched), failed("platform_can_unique_num_get", stream_failure)));
}

// ---- Null pointers -------------------------------------------------------------------------------------------------

class NullPointer : public DeviceTest, public testing::WithParamInterface<NullCall> {};

// Before the start a missing hardware table shows that the call does not start the board: a start would print lines.
TEST_P(NullPointer, IsInvalidBeforeAndAfterTheStartOfTheBoard) {
    testing_support::remove(hardware_table);
    const ChildResult child = run_in_child([] {
        const std::string before = GetParam().call();
        reset_device();
        return joined({before, query_es(), GetParam().call()});
    });
    EXPECT_THAT(child, returns({fails_with(EINVAL), succeeds("true"), fails_with(EINVAL)}));
}

TEST_P(NullPointer, DoesNotStartTheBoard) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child = run_in_child(Recorder(), GetParam().call);
    EXPECT_THAT(child, returns(fails_with(EINVAL)));
    EXPECT_THAT(child.acts, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Functions, NullPointer, testing::ValuesIn(null_calls()),
                         [](const auto& instance) { return instance.param.name(); });

// ---- Files that fail -----------------------------------------------------------------------------------------------

class FailingFiles : public OnDevice {
protected:
    /** The call fails and leaves this errno if the file breaks after the start of the board. */
    static void expect_failure(const std::string& path, int error, void (*break_file)(const std::string&)) {
        reset_device();
        const ChildResult child = run_in_child([&] {
            query_es();
            break_file(path);
            return GetParam().call();
        });
        // A failed platform_info_get() does not return its record as text.
        const bool has_output = GetParam().result.has_output() && GetParam().name != "platform_info_get";
        EXPECT_THAT(child, returns(file_fails_with(error, has_output ? untouched : ""),
                                   failed(GetParam().name, stream_failure)))
            << path;
    }
};

/** Removes this file alone. A write would create a plain file, but not one in the missing folder that this links to. */
void take_away(const std::string& path) {
    testing_support::remove(path);
    std::filesystem::create_symlink("/sys/absent/attribute", path);
}

TEST_P(FailingFiles, MissingFileIsAStreamFailure) {
    for (const std::string& path : GetParam().reads) expect_failure(path, ENOENT, take_away);
    for (const std::string& path : GetParam().writes) expect_failure(path, ENOENT, take_away);
    EXPECT_FALSE(exists("/sys/absent"));
}

TEST_P(FailingFiles, FileWithoutAValueIsAStreamFailureThatLeavesErrnoAlone) {
    for (const std::string& path : GetParam().reads)
        expect_failure(path, untouched_errno, [](const std::string& file) { put(file, "\n"); });
}

std::vector<Function> functions_with_files() {
    std::vector<Function> functions = fitted_functions();
    std::erase_if(functions, [](const Function& each) { return each.reads.empty() && each.writes.empty(); });
    return functions;
}

INSTANTIATE_TEST_SUITE_P(Functions, FailingFiles, testing::ValuesIn(functions_with_files()), name_of);

class Failures : public DeviceTest {};

TEST_F(Failures, MissingOrEmptySerialNumberIsForgiven) {
    testing_support::remove("/proc/platform/serial_number");
    EXPECT_THAT(run_in_child(read_platform_info), returns(success_that_leaves(ENOENT, platform_record(""))));
    put("/proc/platform/serial_number", "\n");
    EXPECT_THAT(run_in_child(read_platform_info), returns(succeeds(platform_record(""))));
}

TEST_F(Failures, SerialNumberThatCannotBeReadIsForgiven) {
    VELMOR_NEEDS_RECORDER();
    for (const std::string& act : read_acts("/proc/platform/serial_number")) {
        reset_device();
        EXPECT_THAT(run_in_child(Recorder().fail(act, EIO), read_platform_info),
                    returns(success_that_leaves(EIO, platform_record(""))))
            << act;
    }
}

// The board starts all the same. Each query then fails, because the zone has not all four kinds of trip points.
TEST_F(Failures, ZoneWithoutATripPointOfEveryKindFailsEachQuery) {
    const std::string trip = zone + "trip_point_";
    const std::function<void()> zones[] = {
        [&] { put(trip + "2_type", "passive\n"); },   // no "very_hot"
        [&] { put(trip + "0_type", "critical\n"); },  // no "active", and two of another kind
        [&] {
            for (const char* name : {"2_type", "2_temp", "3_type", "3_temp"}) testing_support::remove(trip + name);
        },
        [&] {
            put(trip + "4_type", "critical\n");  // a fifth is not looked at
            put(trip + "4_temp", "95000\n");
            put(trip + "3_type", "passive\n");
        },
    };
    const Scenario get = call(thermal_state_get, 0);
    for (const auto& prepare : zones) {
        reset_device();
        prepare();
        const CallResult failure = file_fails_with(ENOENT, untouched);
        const std::string line = failed("thermal_state_get", stream_failure);
        EXPECT_THAT(run_in_child(in_turn({get, get})), returns({failure, failure}, line + line)) << &prepare - zones;
    }
}

TEST_F(Failures, ArgumentsOutOfRangeAreRefused) {
    const struct {
        std::string function;
        Scenario call;
        std::string cause;
    } rows[] = {
        {"backlight_set", call(backlight_set, 0, 256U), "backlight brightness out of range"},
        {"backlight_set", call(backlight_set, 0, UINT_MAX), "backlight brightness out of range"},
        {"io_config_set", call(io_config_set, 0, io_config_t{50, 0}), "PWM frequency out of range"},
        {"io_config_set", call(io_config_set, 0, io_config_t{101, 1000}), "PWM duty out of range"},
        {"io_config_set", call(io_config_set, 0, io_config_t{-2, 1000}), "PWM duty out of range"},
    };
    for (const auto& [function, call, cause] : rows)
        EXPECT_THAT(run_in_child(call), returns(refuses(), failed(function, cause)));
    EXPECT_EQ(content(brightness), "4\n");
    EXPECT_EQ(content(pwm_duty), "0");
    EXPECT_EQ(content(pwm_period), "1000000");
}

// ---- The watchdog --------------------------------------------------------------------------------------------------

constexpr char set_timeout[] = "ioctl /dev/watchdog 0xc0045706";
constexpr char keep_alive[] = "ioctl /dev/watchdog 0x80045705";

const Scenario arm = call(watchdog_enable, 30);
const Scenario feed = call(watchdog_refresh);
const Scenario disarm = call(watchdog_disable);

class WatchdogFunctions : public DeviceTest {
protected:
    /** A recorder that grants the driver's requests, which a plain file does not have. */
    static Recorder recorder() { return Recorder().answer(set_timeout, 0).answer(keep_alive, 0); }
};

TEST_F(WatchdogFunctions, ArmFeedAndDisarm) {
    const ChildResult child = run_in_child([] {
        const StandInIoctl stand_in;
        std::string text = joined(
            {arm(), feed(), result_of(watchdog_enable, 0), disarm(), disarm(), feed(), result_of(watchdog_enable, -1)});
        for (const std::string& each : StandInIoctl::seen) text = joined({text, each});
        return text;
    });
    const CallResult invalid = fails_with(EINVAL);
    EXPECT_THAT(
        child, returns(joined({succeeds(), succeeds(), succeeds(), succeeds(), invalid, invalid, invalid,
                               "0xc0045706 30", "0x80045705 0", "0xc0045706 0"}),
                       failed("watchdog_disable", "Invalid argument") + failed("watchdog_refresh", "Invalid argument") +
                           failed("watchdog_enable", "Invalid argument")));
    EXPECT_EQ(content(watchdog_node), "V");
}

TEST_F(WatchdogFunctions, FailWithoutTheNode) {
    testing_support::remove(watchdog_node);
    EXPECT_THAT(run_in_child(arm), returns(fails_with(ENOENT), failed("watchdog_enable", "No such file or directory")));
    EXPECT_FALSE(exists(watchdog_node));
}

TEST_F(WatchdogFunctions, LeaveTheWatchdogArmedIfItsTimeoutIsRefused) {
    const ChildResult child = run_in_child([] {
        const StandInIoctl stand_in(EBUSY);
        return joined({arm(), feed(), disarm()});
    });
    EXPECT_THAT(child, returns({fails_with(EBUSY), fails_with(EBUSY), succeeds()},
                               failed("watchdog_enable", "Device or resource busy") +
                                   failed("watchdog_refresh", "Device or resource busy")));
    EXPECT_EQ(content(watchdog_node), "V");
}

TEST_F(WatchdogFunctions, FailIfAnActFailsExceptForTheClose) {
    VELMOR_NEEDS_RECORDER();
    const Scenario arm_and_feed = [] { return arm(), feed(); };
    const Scenario arm_and_disarm = [] { return arm(), disarm(); };
    const struct {
        std::string function;
        Scenario call;
        std::string act;
    } rows[] = {
        {"watchdog_enable", arm, "open /dev/watchdog w"},
        {"watchdog_enable", arm, set_timeout},
        {"watchdog_refresh", arm_and_feed, keep_alive},
        {"watchdog_disable", arm_and_disarm, "write /dev/watchdog"},
    };
    for (const auto& [function, call, act] : rows) {
        reset_device();
        EXPECT_THAT(run_in_child(recorder().fail(act, EIO), call),
                    returns(fails_with(EIO), failed(function, "Input/output error")))
            << act;
    }
    EXPECT_THAT(run_in_child(recorder().fail("close /dev/watchdog", EIO), arm_and_disarm),
                returns(success_that_leaves(EIO)));
}

TEST_F(WatchdogFunctions, LeaveTheWatchdogArmedIfItCannotBeDisarmed) {
    VELMOR_NEEDS_RECORDER();
    EXPECT_THAT(run_in_child(recorder().fail("write /dev/watchdog", EBUSY, 1), in_turn({arm, disarm, feed, disarm})),
                returns({succeeds(), fails_with(EBUSY), succeeds(), succeeds()},
                        failed("watchdog_disable", "Device or resource busy")));
}

// ---- None forgotten ------------------------------------------------------------------------------------------------

TEST_F(Functions, AreAllTestedInThisFileOrInThatOfThePowerFunctions) {
    std::set<std::string> tested = {"watchdog_enable", "watchdog_disable", "watchdog_refresh", "power_reboot",
                                    "power_shutdown"};
    for (const Function& function : fitted_functions()) tested.insert(function.name);
    tested.insert(std::begin(absent_functions), std::end(absent_functions));
    tested.insert(std::begin(list_functions), std::end(list_functions));
    const auto functions = exported_functions();
    EXPECT_EQ(tested, std::set<std::string>(functions.begin(), functions.end()));
}

}  // namespace
