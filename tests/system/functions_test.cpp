// SPDX-License-Identifier: MIT
// Every exported function on the device's own board, as an application meets it: what it returns there, and what these
// tests add to those of all families in tests/families: files that are missing or hold no value, every reading of the
// hardware table, calls that must not start the board, and the watchdog's acts when they fail. Which acts each call
// makes, and what becomes of it when one of them fails, is in tests/record; the two functions that end the system are
// in power_test.cpp.

#include <gmock/gmock.h>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/exported_functions.h"
#include "support/files.h"
#include "support/null_calls.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "system/stand_in_ioctl.h"
#include "velmor.h"

using testing::ElementsAre;
using testing::IsEmpty;
using namespace testing_support;

namespace {

constexpr char brightness[] = "/sys/class/backlight/pwm-backlight.0/brightness";
constexpr char blank[] = "/sys/class/graphics/fb0/blank";
constexpr char pwm_period[] = "/sys/devices/platform/mxc_pwm.1/period";
constexpr char pwm_duty[] = "/sys/devices/platform/mxc_pwm.1/duty";
constexpr char pwm_status[] = "/sys/devices/platform/mxc_pwm.1/status";
constexpr char gps_enable[] = "/sys/devices/platform/gps.0/enable";
constexpr char echosounder_reset[] = "/sys/devices/platform/echosounder.0/reset";
constexpr char power_state[] = "/sys/power/state";
constexpr char watchdog_node[] = "/dev/watchdog";

/** Starts the board with a call that touches nothing else. */
std::string start_board() {
    return call(es_present)();
}

constexpr char thermal_zone[] = "/sys/class/thermal/thermal_zone0/";

struct Function {
    std::string name;
    Scenario call;
    CallResult result = succeeds();
    std::string written_to = {};
    std::string written = {};
    std::vector<std::string> reads = {};
    std::vector<std::string> writes = {};
};

std::vector<std::string> platform_records() {
    std::vector<std::string> records;
    for (const char* software : {"boot_", "splash_", "os_"}) {
        for (const char* key : {"date_day", "date_month", "date_year", "version_major", "version_minor",
                                "version_revision", "version_status", "version_build", "version_development"})
            records.push_back(std::string("/proc/platform/") + software + key);
    }
    records.emplace_back("/etc/fs_version");
    records.emplace_back("/proc/platform/compatibility_version");
    return records;
}

/** Every field of the record, in the order of its bytes, and whether the bytes between them were left alone. */
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

const mrfi_addr_t some_address = {{0x78, 0x56, 0x34, 0x12}};
const led_color_t some_color = {255, 0, 16};
const io_config_t some_config = {25, 1000};

/** A query that reads these files. */
Function query(const std::string& name, const Scenario& call, const std::string& value,
               const std::vector<std::string>& reads = {}) {
    return {.name = name, .call = call, .result = succeeds(value), .reads = reads};
}

/** A call that leaves this in this file; the file that it needs is this one alone. */
Function command(const std::string& name, const Scenario& call, const std::string& file, const std::string& written) {
    return {.name = name, .call = call, .written_to = file, .written = written, .writes = {file}};
}

std::vector<Function> fitted_functions() {
    const std::string zone = thermal_zone;
    return {
        command("backlight_set", call(backlight_set, 0, 255U), brightness, "7"),
        query("backlight_get", call(backlight_get, 0), "128", {brightness}),
        command("display_set", call(display_set, 0, 0U), blank, "1"),
        query("display_get", call(display_get, 0), "true", {blank}),
        command("io_set", call(io_set, 9, 7), gps_enable, "7"),
        query("io_get", call(io_get, 9), "1", {gps_enable}),
        {.name = "io_config_set",
         .call = call(io_config_set, 0, some_config),
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
        // It succeeds without the file, too.
        {.name = "power_suspend", .call = call(power_suspend), .written_to = power_state, .written = "mem"},
        {.name = "platform_info_get",
         .call = read_platform_info,
         .result = succeeds(platform_record("AB12C0FFEE")),
         .reads = platform_records()},
        query("platform_uid_get", call(platform_uid_get), "4660"),
        query("platform_oemid_get", call(platform_oemid_get), "5"),
        query("platform_mid_get", call(platform_mid_get), "42"),
        query("platform_can_manuf_code_get", call(platform_can_manuf_code_get), "557"),
        query("platform_can_unique_num_get", call(platform_can_unique_num_get), "74565"),
        query("mrfi_class_get", call(mrfi_class_get, some_address), "4660"),
        query("serial_device_info_get", call(serial_device_info_get, 0), "/dev/ttymxc4 9600 0"),
        query("gps_info_get", call(gps_info_get), "1 1"),
        query("es_present", call(es_present), "true"),
    };
}

/** Further calls of fitted functions: other indices, other values. */
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

std::vector<Function> absent_functions() {
    const CallResult absent = fails_with(EOPNOTSUPP);
    const CallResult absent_query = fails_with(EOPNOTSUPP, untouched);
    return {
        {"led_color_set", call(led_color_set, 0, some_color), absent},
        {"led_color_get", call(led_color_get, 0), absent_query},
        {"wifi_antenna_set", call(wifi_antenna_set, 1), absent},
        {"bluetooth_antenna_set", call(bluetooth_antenna_set, 1), absent},
        {"mrfi_rssi_get", call(mrfi_rssi_get, 0), absent_query},
        {"mrfi_type_get", call(mrfi_type_get, 0), absent_query},
        {"mrfi_address_get", call(mrfi_address_get, 0), absent_query},
        {"mrfi_autolink_set", call(mrfi_autolink_set, 0, 1), absent},
        {"mrfi_autolink_get", call(mrfi_autolink_get, 0), absent_query},
        {"mrfi_link", call(mrfi_link, 0, some_address), absent},
        {"mrfi_unlink", call(mrfi_unlink, 0, some_address), absent},
        {"mrfi_connection_list_open", call(mrfi_connection_list_open, 0), absent_query},
        {"mrfi_device_list_open", call(mrfi_device_list_open, 0), absent_query},
        {"attitude_get", call(attitude_get), absent_query},
        {"car_motion_get", call(car_motion_get), absent_query},
        {"serial_mux", call(serial_mux, 0, 0), absent},
        {"serial_alt_func_has", call(serial_alt_func_has, 0, 0), absent_query},
        {"serial_alt_func_set", call(serial_alt_func_set, 0, 0), absent},
    };
}

std::string name_of(const testing::TestParamInfo<Function>& instance) {
    return instance.param.name;
}

// ---- On the device -------------------------------------------------------------------------------------------------

class OnDevice : public testing::TestWithParam<Function> {
protected:
    void SetUp() override { reset_device(); }
};

TEST_P(OnDevice, SucceedsAndPrintsNothing) {
    const ChildResult child = run_in_child(GetParam().call);
    EXPECT_EQ(child.output, GetParam().result);
    EXPECT_EQ(child.error_text, "");
    if (GetParam().written_to.empty()) return;
    EXPECT_EQ(content(GetParam().written_to), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(Functions, OnDevice, testing::ValuesIn(fitted_functions()), name_of);
INSTANTIATE_TEST_SUITE_P(MoreCalls, OnDevice, testing::ValuesIn(more_calls()), name_of);

class Absent : public OnDevice {};

TEST_P(Absent, IsNotSupportedAndPrintsOneLine) {
    const ChildResult child = run_in_child(GetParam().call);
    EXPECT_EQ(child.output, GetParam().result);
    EXPECT_EQ(child.error_text, failed(GetParam().name, not_supported));
}

INSTANTIATE_TEST_SUITE_P(Functions, Absent, testing::ValuesIn(absent_functions()), name_of);

struct IndexedFunction {
    std::string name;
    std::function<Scenario(int index)> call;
    int also_missing;
    bool has_output;
};

class MissingIndex : public testing::TestWithParam<IndexedFunction> {};

// Index 2 and up of one family are the next one's keys, and the largest cannot be added to.
TEST_P(MissingIndex, IsNotSupportedAndPrintsOneLine) {
    reset_device();
    for (const int index : {-1, 2, 3, 16, -16, INT_MAX, INT_MAX - 15, INT_MIN, GetParam().also_missing}) {
        const ChildResult child = run_in_child(GetParam().call(index));
        EXPECT_EQ(child.output, fails_with(EOPNOTSUPP, GetParam().has_output ? untouched : "")) << index;
        EXPECT_EQ(child.error_text, failed(GetParam().name, not_supported)) << index;
    }
}

template <typename Output>
IndexedFunction indexed_query(const std::string& name, int (*function)(int, Output*), int also_missing) {
    return {name, [function](int index) { return call(function, index); }, also_missing, true};
}

template <typename Function, typename Value>
IndexedFunction indexed_command(const std::string& name, Function function, const Value& value, int also_missing) {
    return {name, [=](int index) { return call(function, index, value); }, also_missing, false};
}

INSTANTIATE_TEST_SUITE_P(Functions, MissingIndex,
                         testing::Values(indexed_command("backlight_set", backlight_set, 1U, 1),
                                         indexed_query("backlight_get", backlight_get, 1),
                                         indexed_command("display_set", display_set, 1U, 1),
                                         indexed_query("display_get", display_get, 1),
                                         indexed_command("io_set", io_set, 1, 12), indexed_query("io_get", io_get, 12),
                                         indexed_command("io_config_set", io_config_set, some_config, 9),
                                         indexed_query("io_config_get", io_config_get, 11),
                                         indexed_query("thermal_state_get", thermal_state_get, 1),
                                         indexed_query("serial_device_info_get", serial_device_info_get, 4)),
                         [](const auto& instance) { return instance.param.name; });

/** Change a byte of the hardware table: 4 holds field 10, 18 field 24 and 19 field 27. */
void set_table_byte(std::size_t index, const std::string& digits) {
    std::string table = content("/proc/platform/pht");
    table.replace(2 + 2 * index, 2, digits);
    put("/proc/platform/pht", table);
}

const CallResult absent = fails_with(EOPNOTSUPP, untouched);

std::string presence() {
    Out<bool> wifi;
    Out<bool> bluetooth;
    Out<bool> echosounder;
    return answer([&] { return wifi_present(wifi) + bluetooth_present(bluetooth) + es_present(echosounder); }, wifi,
                  bluetooth, echosounder);
}

TEST(HardwareTable, WithoutEchosounder) {
    reset_device();
    set_table_byte(19, "2f");
    const ChildResult child = run_in_child([] {
        return joined({presence(), call(io_set, 11, 1)(), call(io_get, 11)(), call(serial_device_info_get, 1)()});
    });
    EXPECT_EQ(child.output, joined({succeeds("true true false"), fails_with(EOPNOTSUPP), absent, absent}));
    EXPECT_EQ(child.error_text, failed("io_set", not_supported) + failed("io_get", not_supported) +
                                    failed("serial_device_info_get", not_supported));
    EXPECT_EQ(content(echosounder_reset), "0\n");
}

TEST(HardwareTable, WithoutWifi) {
    reset_device();
    set_table_byte(4, "e3");
    const ChildResult child = run_in_child([] { return joined({presence(), call(wifi_info_get)()}); });
    EXPECT_EQ(child.output, joined({succeeds("false true true"), absent}));
    EXPECT_EQ(child.error_text, failed("wifi_info_get", not_supported));
}

TEST(HardwareTable, WithoutBluetooth) {
    reset_device();
    set_table_byte(18, "1f");
    const ChildResult child = run_in_child([] { return joined({presence(), call(bluetooth_info_get)()}); });
    EXPECT_EQ(child.output, joined({succeeds("true false true"), absent}));
    EXPECT_EQ(child.error_text, failed("bluetooth_info_get", not_supported));
}

TEST(HardwareTable, WithoutCanIdentity) {
    reset_device();
    put("/proc/platform/pht_version", "2\n");
    const ChildResult child = run_in_child([] {
        return joined({call(platform_can_manuf_code_get)(), call(platform_can_unique_num_get)()});
    });
    EXPECT_EQ(child.output, joined({absent, absent}));
    EXPECT_EQ(child.error_text, failed("platform_can_manuf_code_get", not_supported) +
                                    failed("platform_can_unique_num_get", not_supported));
}

TEST(HardwareTable, CanNumberComesFromTheSerialNumberWhereTheTableSaysZero) {
    reset_device();
    for (const std::size_t index : {7U, 8U, 9U}) set_table_byte(index, "00");
    const Scenario get = call(platform_can_unique_num_get);
    EXPECT_EQ(run_in_child(get).output, succeeds("65518"));  // 0x00FFEE
    testing_support::remove("/etc/fs_version");
    const ChildResult child = run_in_child(get);
    EXPECT_EQ(child.output, file_fails_with(ENOENT, untouched));
    EXPECT_EQ(child.error_text, failed("platform_can_unique_num_get", stream_failure));
}

// ---- Null pointers -------------------------------------------------------------------------------------------------

class NullPointer : public testing::TestWithParam<NullCall> {
protected:
    static void expect_invalid(const ChildResult& child) {
        EXPECT_EQ(child.output, fails_with(EINVAL));
        EXPECT_EQ(child.error_text, "");
    }
};

// A start of the board would be heard: there is no hardware table.
TEST_P(NullPointer, IsInvalidAndPrintsNothing) {
    reset_device();
    testing_support::remove("/proc/platform/pht");
    expect_invalid(run_in_child(GetParam().call));
}

TEST_P(NullPointer, IsInvalidOnAStartedBoardToo) {
    reset_device();
    expect_invalid(run_in_child([] {
        start_board();
        return GetParam().call();
    }));
}

TEST_P(NullPointer, DoesNotStartTheBoard) {
    VELMOR_NEEDS_RECORDER();
    reset_device();
    const ChildResult child = run_in_child(Recorder(), GetParam().call);
    expect_invalid(child);
    EXPECT_THAT(child.acts, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Functions, NullPointer, testing::ValuesIn(null_calls()),
                         [](const auto& instance) { return instance.param.name(); });

// ---- Files that fail -----------------------------------------------------------------------------------------------

class FailingFiles : public OnDevice {
protected:
    /** The call fails and leaves this errno, where the file breaks once the board has started. */
    static void expect_failure(const std::string& path, int error, void (*break_file)(const std::string&)) {
        reset_device();
        const ChildResult child = run_in_child([&] {
            start_board();
            break_file(path);
            return GetParam().call();
        });
        // The record of platform_info_get() is not compared when the call has failed.
        const bool has_output = GetParam().result.has_output() && GetParam().name != "platform_info_get";
        EXPECT_EQ(child.output, file_fails_with(error, has_output ? untouched : "")) << path;
        EXPECT_EQ(child.error_text, failed(GetParam().name, stream_failure)) << path;
    }
};

/** This file alone is not there. On a plain file system a write would create it, but not the folder of this one. */
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
    std::vector<Function> functions;
    for (const Function& function : fitted_functions())
        if (!function.reads.empty() || !function.writes.empty()) functions.push_back(function);
    return functions;
}

INSTANTIATE_TEST_SUITE_P(Functions, FailingFiles, testing::ValuesIn(functions_with_files()), name_of);

TEST(Failures, UnreadableSerialNumberIsForgiven) {
    reset_device();
    testing_support::remove("/proc/platform/serial_number");
    const ChildResult missing = run_in_child(read_platform_info);
    EXPECT_EQ(missing.output, success_that_leaves(ENOENT, platform_record("")));
    EXPECT_EQ(missing.error_text, "");
    put("/proc/platform/serial_number", "\n");
    const ChildResult empty = run_in_child(read_platform_info);
    EXPECT_EQ(empty.output, succeeds(platform_record("")));
    EXPECT_EQ(empty.error_text, "");
}

TEST(Failures, SerialNumberThatFailsIsForgiven) {
    VELMOR_NEEDS_RECORDER();
    const std::string file = "/proc/platform/serial_number";
    for (const std::string& act : {"open " + file + " r", "read " + file, "close " + file}) {
        reset_device();
        const ChildResult child = run_in_child(Recorder().fail(act, EIO), read_platform_info);
        EXPECT_EQ(child.output, success_that_leaves(EIO, platform_record(""))) << act;
        EXPECT_EQ(child.error_text, "") << act;
    }
}

// The board starts all the same: which trip points a zone has shows in the queries, in each of them.
TEST(Failures, ZoneWithoutATripPointOfEveryKindFailsEachQuery) {
    const std::string trip = std::string(thermal_zone) + "trip_point_";
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
        const ChildResult child = run_in_child([&] { return joined({get(), get()}); });
        const CallResult failure = file_fails_with(ENOENT, untouched);
        const std::string line = failed("thermal_state_get", stream_failure);
        EXPECT_EQ(child.output, joined({failure, failure})) << &prepare - zones;
        EXPECT_EQ(child.error_text, line + line) << &prepare - zones;
    }
}

TEST(Failures, SuspendThatIsRefusedIsNotReported) {
    reset_device();
    const ChildResult child = run_in_child([] {
        start_board();
        testing_support::remove("/sys/power");
        return call(power_suspend)();
    });
    EXPECT_EQ(child.output, success_that_leaves(ENOENT));
    EXPECT_EQ(child.error_text, "");
    EXPECT_FALSE(exists(power_state));
}

TEST(Failures, ArgumentsOutOfRangeAreTheirOwnFailures) {
    reset_device();
    const ChildResult child = run_in_child([] {
        return joined({call(backlight_set, 0, 256U)(), call(backlight_set, 0, UINT_MAX)(),
                       call(io_config_set, 0, io_config_t{50, 0})(), call(io_config_set, 0, io_config_t{101, 1000})(),
                       call(io_config_set, 0, io_config_t{-2, 1000})()});
    });
    EXPECT_EQ(child.output, joined({refuses(), refuses(), refuses(), refuses(), refuses()}));
    EXPECT_EQ(child.error_text, failed("backlight_set", "backlight brightness out of range") +
                                    failed("backlight_set", "backlight brightness out of range") +
                                    failed("io_config_set", "PWM frequency out of range") +
                                    failed("io_config_set", "PWM duty out of range") +
                                    failed("io_config_set", "PWM duty out of range"));
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

TEST(WatchdogFunctions, ArmFeedAndDisarm) {
    reset_device();
    const ChildResult child = run_in_child([] {
        const StandInIoctl stand_in;
        std::string text = joined(
            {arm(), feed(), call(watchdog_enable, 0)(), disarm(), disarm(), feed(), call(watchdog_enable, -1)()});
        for (const std::string& each : StandInIoctl::seen) text += ", " + each;
        return text;
    });
    EXPECT_EQ(child.output,
              joined({succeeds(), succeeds(), succeeds(), succeeds(), fails_with(EINVAL), fails_with(EINVAL),
                      fails_with(EINVAL), "0xc0045706 30", "0x80045705 0", "0xc0045706 0"}));
    EXPECT_EQ(child.error_text, failed("watchdog_disable", "Invalid argument") +
                                    failed("watchdog_refresh", "Invalid argument") +
                                    failed("watchdog_enable", "Invalid argument"));
    EXPECT_EQ(content(watchdog_node), "V");
}

TEST(WatchdogFunctions, MissingNode) {
    reset_device();
    testing_support::remove(watchdog_node);
    const ChildResult child = run_in_child(arm);
    EXPECT_EQ(child.output, fails_with(ENOENT));
    EXPECT_EQ(child.error_text, failed("watchdog_enable", "No such file or directory"));
    EXPECT_FALSE(exists(watchdog_node));
}

TEST(WatchdogFunctions, RefusedTimeoutLeavesTheWatchdogArmed) {
    reset_device();
    const ChildResult child = run_in_child([] {
        const StandInIoctl stand_in(EBUSY);
        return joined({arm(), feed(), disarm()});
    });
    EXPECT_EQ(child.output, joined({fails_with(EBUSY), fails_with(EBUSY), succeeds()}));
    EXPECT_EQ(child.error_text, failed("watchdog_enable", "Device or resource busy") +
                                    failed("watchdog_refresh", "Device or resource busy"));
    EXPECT_EQ(content(watchdog_node), "V");
}

TEST(WatchdogFunctions, ActsInOrder) {
    VELMOR_NEEDS_RECORDER();
    reset_device();
    const Recorder recorder = Recorder().watch({"/dev/watchdog"}).answer(set_timeout, 0).answer(keep_alive, 0);
    const ChildResult child = run_in_child(recorder, [] {
        return joined({arm(), feed(), call(watchdog_enable, 60)(), disarm()});
    });
    EXPECT_EQ(child.output, joined({succeeds(), succeeds(), succeeds(), succeeds()}));
    EXPECT_THAT(child.acts, ElementsAre("open /dev/watchdog w", set_timeout, keep_alive, "write /dev/watchdog V",
                                        "close /dev/watchdog", "open /dev/watchdog w", set_timeout,
                                        "write /dev/watchdog V", "close /dev/watchdog"));
}

TEST(WatchdogFunctions, FailingActsAreReportedWithTheirErrno) {
    VELMOR_NEEDS_RECORDER();
    const struct {
        std::string name;
        Scenario call;
        std::string act;
    } rows[] = {
        {"watchdog_enable", arm, "open /dev/watchdog w"},
        {"watchdog_enable", arm, set_timeout},
        {"watchdog_refresh", [] { return arm(), feed(); }, keep_alive},
        {"watchdog_disable", [] { return arm(), disarm(); }, "write /dev/watchdog"},
        {"watchdog_disable", [] { return arm(), disarm(); }, "close /dev/watchdog"},
    };
    for (const auto& [name, call, act] : rows) {
        reset_device();
        const Recorder recorder = Recorder().answer(set_timeout, 0).answer(keep_alive, 0).fail(act, EIO);
        const ChildResult child = run_in_child(recorder, call);
        const bool closing = act.starts_with("close ");
        EXPECT_EQ(child.output, closing ? success_that_leaves(EIO) : fails_with(EIO)) << name << ": " << act;
        EXPECT_EQ(child.error_text, closing ? "" : failed(name, "Input/output error")) << name << ": " << act;
    }
}

TEST(WatchdogFunctions, WatchdogThatCouldNotBeDisarmedStaysArmed) {
    VELMOR_NEEDS_RECORDER();
    reset_device();
    const Recorder recorder =
        Recorder().answer(set_timeout, 0).answer(keep_alive, 0).fail("write /dev/watchdog", EBUSY, 1);
    const ChildResult child = run_in_child(recorder, [] { return joined({arm(), disarm(), feed(), disarm()}); });
    EXPECT_EQ(child.output, joined({succeeds(), fails_with(EBUSY), succeeds(), succeeds()}));
}

// ---- None forgotten ------------------------------------------------------------------------------------------------

TEST(Functions, EveryExportIsTestedInThisFileOrInThatOfThePowerFunctions) {
    std::set<std::string> tested = {
        "watchdog_enable",       "watchdog_disable",          "watchdog_refresh",           "power_reboot",
        "power_shutdown",        "mrfi_connection_list_read", "mrfi_connection_list_close", "mrfi_device_list_read",
        "mrfi_device_list_close"};
    for (const Function& function : fitted_functions()) tested.insert(function.name);
    for (const Function& function : absent_functions()) tested.insert(function.name);
    const auto functions = testing_support::exported_functions();
    const std::set<std::string> exported(functions.begin(), functions.end());
    EXPECT_EQ(tested, exported);
}

}  // namespace
