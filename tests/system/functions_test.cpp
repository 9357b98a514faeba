// SPDX-License-Identifier: MIT
// Every exported function as an application meets it: what it answers on the device, without its hardware, without its
// files and for null pointers. The two functions that end the system are in power_test.cpp.

#include <gmock/gmock.h>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/null_calls.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "system/stand_in_ioctl.h"
#include "velmor.h"

/** A context without an owner. The library's own class is opaque here; its virtual table is as this one's. */
struct mrfi_enum_ctx {
    mrfi_enum_ctx() = default;
    mrfi_enum_ctx(const mrfi_enum_ctx&) = delete;
    mrfi_enum_ctx& operator=(const mrfi_enum_ctx&) = delete;
    virtual ~mrfi_enum_ctx() = default;
    virtual bool next(std::string& /*line*/) { return false; }
    virtual void* owner() const { return nullptr; }
};

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::answer;
using testing_support::ChildResult;
using testing_support::content;
using testing_support::exists;
using testing_support::failed;
using testing_support::joined;
using testing_support::not_supported;
using testing_support::null_calls;
using testing_support::NullCall;
using testing_support::Out;
using testing_support::put;
using testing_support::Recorder;
using testing_support::reset_device;
using testing_support::run_in_child;
using testing_support::Scenario;
using testing_support::StandInIoctl;
using testing_support::stream_failure;

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
void start_board() {
    bool present = false;
    es_present(&present);
}

struct Function {
    std::string name;
    Scenario call;
    std::string on_device;  // its answer there
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

std::string ask_platform_info() {
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

/** An answer with outputs of type T: call(out). */
template <typename T, typename Call>
Scenario asking(Call call) {
    return [call] {
        Out<T> out;
        return answer([&] { return call(out); }, out);
    };
}

template <typename Call>
Scenario telling(Call call) {
    return [call] { return answer(call); };
}

const mrfi_addr_t some_address = {{0x78, 0x56, 0x34, 0x12}};
const led_color_t some_color = {255, 0, 16};
const io_config_t some_config = {25, 1000};

std::vector<Function> fitted_functions() {
    return {
        {"backlight_set", telling([] { return backlight_set(0, 255); }), "0", brightness, "7", {}, {brightness}},
        {"backlight_get",
         asking<uint32_t>([](uint32_t* level) { return backlight_get(0, level); }),
         "0: 128",
         "",
         "",
         {brightness}},
        {"display_set", telling([] { return display_set(0, 0); }), "0", blank, "1", {}, {blank}},
        {"display_get", asking<bool>([](bool* on) { return display_get(0, on); }), "0: true", "", "", {blank}},
        {"io_set", telling([] { return io_set(9, 7); }), "0", gps_enable, "7", {}, {gps_enable}},
        {"io_get",
         asking<io_value_t>([](io_value_t* value) { return io_get(9, value); }),
         "0: 1",
         "",
         "",
         {gps_enable}},
        {"io_config_set",
         telling([] { return io_config_set(0, &some_config); }),
         "0",
         pwm_duty,
         "250000",
         {pwm_period, pwm_duty},
         {pwm_period, pwm_duty}},
        {"io_config_get",
         asking<io_config_t>([](io_config_t* config) { return io_config_get(0, config); }),
         "0: 2700 Hz 50 %",
         "",
         "",
         {pwm_period, pwm_duty}},
        {"thermal_state_get",
         asking<thermal_state_t>([](thermal_state_t* state) { return thermal_state_get(0, state); }),
         "0: 45000 60000 75000 85000 95000",
         "",
         "",
         {"/sys/class/thermal/thermal_zone0/temp", "/sys/class/thermal/thermal_zone0/trip_point_0_temp",
          "/sys/class/thermal/thermal_zone0/trip_point_1_temp", "/sys/class/thermal/thermal_zone0/trip_point_2_temp",
          "/sys/class/thermal/thermal_zone0/trip_point_3_temp"}},
        {"wifi_present", asking<bool>([](bool* present) { return wifi_present(present); }), "0: true"},
        {"wifi_info_get", asking<wifi_info_t>([](wifi_info_t* info) { return wifi_info_get(info); }), "0: wlan0 3"},
        {"bluetooth_present", asking<bool>([](bool* present) { return bluetooth_present(present); }), "0: true"},
        {"bluetooth_info_get",
         asking<bluetooth_info_t>([](bluetooth_info_t* info) { return bluetooth_info_get(info); }), "0: hci0 3"},
        {"power_suspend", telling([] { return power_suspend(); }), "0", power_state, "mem"},
        {"platform_info_get", ask_platform_info, "0: " + platform_record("AB12C0FFEE"), "", "", platform_records()},
        {"platform_uid_get", asking<uint16_t>([](uint16_t* uid) { return platform_uid_get(uid); }), "0: 4660"},
        {"platform_oemid_get", asking<uint32_t>([](uint32_t* oemid) { return platform_oemid_get(oemid); }), "0: 5"},
        {"platform_mid_get", asking<uint32_t>([](uint32_t* mid) { return platform_mid_get(mid); }), "0: 42"},
        {"platform_can_manuf_code_get",
         asking<uint16_t>([](uint16_t* code) { return platform_can_manuf_code_get(code); }), "0: 557"},
        {"platform_can_unique_num_get",
         asking<uint32_t>([](uint32_t* number) { return platform_can_unique_num_get(number); }), "0: 74565"},
        {"mrfi_class_get",
         asking<uint32_t>([](uint32_t* device_class) { return mrfi_class_get(&some_address, device_class); }),
         "0: 4660"},
        {"serial_device_info_get",
         asking<serial_device_info_t>([](serial_device_info_t* info) { return serial_device_info_get(0, info); }),
         "0: /dev/ttymxc4 9600 0"},
        {"gps_info_get", asking<gps_info_t>([](gps_info_t* info) { return gps_info_get(info); }), "0: 1 1"},
        {"es_present", asking<bool>([](bool* present) { return es_present(present); }), "0: true"},
    };
}

/** Further calls of fitted functions: other indices, other values. */
std::vector<Function> more_calls() {
    return {
        {"backlight_set_off", telling([] { return backlight_set(0, 0); }), "0", brightness, "0"},
        {"backlight_set_dimmest", telling([] { return backlight_set(0, 1); }), "0", brightness, "1"},
        {"display_set_on", telling([] { return display_set(0, 1); }), "0", blank, "0"},
        {"display_set_other", telling([] { return display_set(0, 2); }), "0", blank, "3"},
        {"display_set_largest", telling([] { return display_set(0, 0x80000001U); }), "0", blank, "-2147483648"},
        {"io_set_pwm_on", telling([] { return io_set(0, 1); }), "0", pwm_status, "1"},
        {"io_set_pwm_off", telling([] { return io_set(0, 0); }), "0", pwm_status, "0"},
        {"io_set_pwm_other", telling([] { return io_set(0, 2); }), "0", pwm_status, "0\n"},
        {"io_set_echosounder", telling([] { return io_set(11, -1); }), "0", echosounder_reset, "-1"},
        {"io_get_pwm", asking<io_value_t>([](io_value_t* value) { return io_get(0, value); }), "0: 0"},
        {"io_get_echosounder", asking<io_value_t>([](io_value_t* value) { return io_get(11, value); }), "0: 0"},
        {"serial_device_info_get_1",
         asking<serial_device_info_t>([](serial_device_info_t* info) { return serial_device_info_get(1, info); }),
         "0: /dev/ttymxc3 38400 0"},
    };
}

std::vector<Function> absent_functions() {
    const std::string absent = "-95 errno 95";
    const std::string absent_out = "-95 errno 95: untouched";
    return {
        {"led_color_set", telling([] { return led_color_set(0, &some_color); }), absent},
        {"led_color_get", asking<led_color_t>([](led_color_t* color) { return led_color_get(0, color); }), absent_out},
        {"wifi_antenna_set", telling([] { return wifi_antenna_set(1); }), absent},
        {"bluetooth_antenna_set", telling([] { return bluetooth_antenna_set(1); }), absent},
        {"mrfi_rssi_get", asking<int>([](int* rssi) { return mrfi_rssi_get(0, rssi); }), absent_out},
        {"mrfi_type_get", asking<mrfi_device_type_t>([](mrfi_device_type_t* type) { return mrfi_type_get(0, type); }),
         absent_out},
        {"mrfi_address_get", asking<mrfi_addr_t>([](mrfi_addr_t* address) { return mrfi_address_get(0, address); }),
         absent_out},
        {"mrfi_autolink_set", telling([] { return mrfi_autolink_set(0, 1); }), absent},
        {"mrfi_autolink_get", asking<bool>([](bool* on) { return mrfi_autolink_get(0, on); }), absent_out},
        {"mrfi_link", telling([] { return mrfi_link(0, &some_address); }), absent},
        {"mrfi_unlink", telling([] { return mrfi_unlink(0, &some_address); }), absent},
        {"mrfi_connection_list_open",
         asking<mrfi_enum_ctx*>([](mrfi_enum_ctx** context) { return mrfi_connection_list_open(0, context); }),
         absent_out},
        {"mrfi_device_list_open",
         asking<mrfi_enum_ctx*>([](mrfi_enum_ctx** context) { return mrfi_device_list_open(0, context); }), absent_out},
        {"attitude_get", asking<attitude_t>([](attitude_t* attitude) { return attitude_get(attitude); }), absent_out},
        {"car_motion_get", asking<car_motion_t>([](car_motion_t* motion) { return car_motion_get(motion); }),
         absent_out},
        {"serial_mux", telling([] { return serial_mux(0, 0); }), absent},
        {"serial_alt_func_has", asking<bool>([](bool* supported) { return serial_alt_func_has(0, 0, supported); }),
         absent_out},
        {"serial_alt_func_set", telling([] { return serial_alt_func_set(0, 0); }), absent},
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

TEST_P(OnDevice, AnswersWithoutALine) {
    const ChildResult child = run_in_child(GetParam().call);
    EXPECT_EQ(child.output, GetParam().on_device);
    EXPECT_EQ(child.error_text, "");
    if (GetParam().written_to.empty()) return;
    EXPECT_EQ(content(GetParam().written_to), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(Functions, OnDevice, testing::ValuesIn(fitted_functions()), name_of);
INSTANTIATE_TEST_SUITE_P(MoreCalls, OnDevice, testing::ValuesIn(more_calls()), name_of);

class Absent : public OnDevice {};

TEST_P(Absent, IsNotSupportedAndPrintsOneLine) {
    const ChildResult child = run_in_child(GetParam().call);
    EXPECT_EQ(child.output, GetParam().on_device);
    EXPECT_EQ(child.error_text, failed(GetParam().name, not_supported));
}

INSTANTIATE_TEST_SUITE_P(Functions, Absent, testing::ValuesIn(absent_functions()), name_of);

struct IndexedFunction {
    std::string name;
    std::function<std::string(int)> call;
    int also_missing;
    const char* outputs;
};

class MissingIndex : public testing::TestWithParam<IndexedFunction> {};

// Index 2 and up of one family are the next one's keys, and the largest cannot be added to.
TEST_P(MissingIndex, IsNotSupportedAndPrintsOneLine) {
    reset_device();
    for (const int index : {-1, 2, 3, 16, -16, INT_MAX, INT_MAX - 15, INT_MIN, GetParam().also_missing}) {
        const ChildResult child = run_in_child([&] { return GetParam().call(index); });
        EXPECT_EQ(child.output, std::string("-95 errno 95") + GetParam().outputs) << index;
        EXPECT_EQ(child.error_text, failed(GetParam().name, not_supported)) << index;
    }
}

template <typename T, typename Call>
std::function<std::string(int)> asking_of(Call call) {
    return [call](int index) { return asking<T>([call, index](T* out) { return call(index, out); })(); };
}

INSTANTIATE_TEST_SUITE_P(
    Functions, MissingIndex,
    testing::Values(
        IndexedFunction{"backlight_set", [](int i) { return answer([i] { return backlight_set(i, 1); }); }, 1, ""},
        IndexedFunction{"backlight_get", asking_of<uint32_t>(backlight_get), 1, ": untouched"},
        IndexedFunction{"display_set", [](int i) { return answer([i] { return display_set(i, 1); }); }, 1, ""},
        IndexedFunction{"display_get", asking_of<bool>(display_get), 1, ": untouched"},
        IndexedFunction{"io_set", [](int i) { return answer([i] { return io_set(i, 1); }); }, 12, ""},
        IndexedFunction{"io_get", asking_of<io_value_t>(io_get), 12, ": untouched"},
        IndexedFunction{"io_config_set", [](int i) { return answer([i] { return io_config_set(i, &some_config); }); },
                        9, ""},
        IndexedFunction{"io_config_get", asking_of<io_config_t>(io_config_get), 11, ": untouched"},
        IndexedFunction{"thermal_state_get", asking_of<thermal_state_t>(thermal_state_get), 1, ": untouched"},
        IndexedFunction{"serial_device_info_get", asking_of<serial_device_info_t>(serial_device_info_get), 4,
                        ": untouched"}),
    [](const auto& instance) { return instance.param.name; });

/** Change a byte of the hardware table: 4 holds field 10, 18 field 24 and 19 field 27. */
void set_table_byte(std::size_t index, const std::string& digits) {
    std::string table = content("/proc/platform/pht");
    table.replace(2 + 2 * index, 2, digits);
    put("/proc/platform/pht", table);
}

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
        Out<io_value_t> value;
        Out<serial_device_info_t> info;
        return joined({presence(), answer([] { return io_set(11, 1); }),
                       answer([&] { return io_get(11, value); }, value),
                       answer([&] { return serial_device_info_get(1, info); }, info)});
    });
    EXPECT_EQ(child.output, "0: true true false, -95 errno 95, -95 errno 95: untouched, -95 errno 95: untouched");
    EXPECT_EQ(child.error_text, failed("io_set", not_supported) + failed("io_get", not_supported) +
                                    failed("serial_device_info_get", not_supported));
    EXPECT_EQ(content(echosounder_reset), "0\n");
}

TEST(HardwareTable, WithoutWifi) {
    reset_device();
    set_table_byte(4, "e3");
    const ChildResult child = run_in_child([] {
        Out<wifi_info_t> info;
        return joined({presence(), answer([&] { return wifi_info_get(info); }, info)});
    });
    EXPECT_EQ(child.output, "0: false true true, -95 errno 95: untouched");
    EXPECT_EQ(child.error_text, failed("wifi_info_get", not_supported));
}

TEST(HardwareTable, WithoutBluetooth) {
    reset_device();
    set_table_byte(18, "1f");
    const ChildResult child = run_in_child([] {
        Out<bluetooth_info_t> info;
        return joined({presence(), answer([&] { return bluetooth_info_get(info); }, info)});
    });
    EXPECT_EQ(child.output, "0: true false true, -95 errno 95: untouched");
    EXPECT_EQ(child.error_text, failed("bluetooth_info_get", not_supported));
}

TEST(HardwareTable, WithoutCanIdentity) {
    reset_device();
    put("/proc/platform/pht_version", "2\n");
    const ChildResult child = run_in_child([] {
        Out<uint16_t> code;
        Out<uint32_t> number;
        return joined({answer([&] { return platform_can_manuf_code_get(code); }, code),
                       answer([&] { return platform_can_unique_num_get(number); }, number)});
    });
    EXPECT_EQ(child.output, "-95 errno 95: untouched, -95 errno 95: untouched");
    EXPECT_EQ(child.error_text, failed("platform_can_manuf_code_get", not_supported) +
                                    failed("platform_can_unique_num_get", not_supported));
}

TEST(HardwareTable, CanNumberComesFromTheSerialNumberWhereTheTableSaysZero) {
    reset_device();
    for (const std::size_t index : {7U, 8U, 9U}) set_table_byte(index, "00");
    const Scenario scenario = asking<uint32_t>([](uint32_t* number) { return platform_can_unique_num_get(number); });
    EXPECT_EQ(run_in_child(scenario).output, "0: 65518");  // 0x00FFEE
    testing_support::remove("/etc/fs_version");
    const ChildResult child = run_in_child(scenario);
    EXPECT_EQ(child.output, "-1 errno 2: untouched");
    EXPECT_EQ(child.error_text, failed("platform_can_unique_num_get", stream_failure));
}

// ---- Null pointers -------------------------------------------------------------------------------------------------

class NullPointer : public testing::TestWithParam<NullCall> {
protected:
    static void expect_invalid(const ChildResult& child) {
        EXPECT_EQ(child.output, "-22 errno 22");
        EXPECT_EQ(child.error_text, "");
    }
};

// A start of the board would be heard: there is no hardware table.
TEST_P(NullPointer, IsInvalidAndPrintsNothing) {
    reset_device();
    testing_support::remove("/proc/platform/pht");
    expect_invalid(run_in_child([] { return answer(GetParam().call); }));
}

TEST_P(NullPointer, IsInvalidOnAStartedBoardToo) {
    reset_device();
    expect_invalid(run_in_child([] {
        start_board();
        return answer(GetParam().call);
    }));
}

TEST_P(NullPointer, DoesNotStartTheBoard) {
    VELMOR_NEEDS_RECORDER();
    reset_device();
    const ChildResult child = run_in_child(Recorder(), [] { return answer(GetParam().call); });
    expect_invalid(child);
    EXPECT_THAT(child.acts, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Functions, NullPointer, testing::ValuesIn(null_calls()),
                         [](const auto& instance) { return instance.param.name(); });

// ---- Files that fail -----------------------------------------------------------------------------------------------

class FailingFiles : public OnDevice {
protected:
    static void expect_failure(const std::string& path, const std::string& errno_text,
                               void (*break_file)(const std::string&)) {
        reset_device();
        const ChildResult child = run_in_child([&] {
            start_board();
            break_file(path);
            return GetParam().call();
        });
        const bool has_output =
            GetParam().on_device.find(':') != std::string::npos && GetParam().name != "platform_info_get";
        EXPECT_EQ(child.output, "-1" + errno_text + (has_output ? ": untouched" : "")) << path;
        EXPECT_EQ(child.error_text, failed(GetParam().name, stream_failure)) << path;
    }
};

/** This file alone is not there. On a plain file system a write would create it, but not the folder of this one. */
void take_away(const std::string& path) {
    testing_support::remove(path);
    std::filesystem::create_symlink("/sys/absent/attribute", path);
}

TEST_P(FailingFiles, MissingFileIsAStreamFailure) {
    for (const std::string& path : GetParam().reads) expect_failure(path, " errno 2", take_away);
    for (const std::string& path : GetParam().writes) expect_failure(path, " errno 2", take_away);
    EXPECT_FALSE(exists("/sys/absent"));
}

TEST_P(FailingFiles, FileWithoutAValueIsAStreamFailureThatLeavesErrnoAlone) {
    for (const std::string& path : GetParam().reads)
        expect_failure(path, "", [](const std::string& file) { put(file, "\n"); });
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
    const ChildResult missing = run_in_child(ask_platform_info);
    EXPECT_EQ(missing.output, "0 errno 2: " + platform_record(""));
    EXPECT_EQ(missing.error_text, "");
    put("/proc/platform/serial_number", "\n");
    const ChildResult empty = run_in_child(ask_platform_info);
    EXPECT_EQ(empty.output, "0: " + platform_record(""));
    EXPECT_EQ(empty.error_text, "");
}

// The board starts all the same: which trip points a zone has shows in the queries, in each of them.
TEST(Failures, ZoneWithoutATripPointOfEveryKindFailsEachQuery) {
    const std::string trip = "/sys/class/thermal/thermal_zone0/trip_point_";
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
    const Scenario ask = asking<thermal_state_t>([](thermal_state_t* state) { return thermal_state_get(0, state); });
    for (const auto& prepare : zones) {
        reset_device();
        prepare();
        const ChildResult child = run_in_child([&] { return joined({ask(), ask()}); });
        EXPECT_EQ(child.output, "-1 errno 2: untouched, -1 errno 2: untouched") << &prepare - zones;
        EXPECT_EQ(child.error_text,
                  failed("thermal_state_get", stream_failure) + failed("thermal_state_get", stream_failure))
            << &prepare - zones;
    }
}

TEST(Failures, SuspendThatIsRefusedIsNotReported) {
    reset_device();
    const ChildResult child = run_in_child([] {
        start_board();
        testing_support::remove("/sys/power");
        return answer([] { return power_suspend(); });
    });
    EXPECT_EQ(child.output, "0 errno 2");
    EXPECT_EQ(child.error_text, "");
    EXPECT_FALSE(exists(power_state));
}

TEST(Failures, ArgumentsOutOfRangeAreTheirOwnFailures) {
    reset_device();
    const ChildResult child = run_in_child([] {
        const io_config_t too_slow = {50, 0};
        const io_config_t too_much = {101, 1000};
        const io_config_t negative = {-2, 1000};
        return joined({answer([] { return backlight_set(0, 256); }), answer([] { return backlight_set(0, UINT_MAX); }),
                       answer([&] { return io_config_set(0, &too_slow); }),
                       answer([&] { return io_config_set(0, &too_much); }),
                       answer([&] { return io_config_set(0, &negative); })});
    });
    EXPECT_EQ(child.output, "-1, -1, -1, -1, -1");
    EXPECT_EQ(child.error_text, failed("backlight_set", "backlight brightness out of range") +
                                    failed("backlight_set", "backlight brightness out of range") +
                                    failed("io_config_set", "PWM frequency out of range") +
                                    failed("io_config_set", "PWM duty out of range") +
                                    failed("io_config_set", "PWM duty out of range"));
    EXPECT_EQ(content(brightness), "4\n");
    EXPECT_EQ(content(pwm_duty), "0");
    EXPECT_EQ(content(pwm_period), "1000000");
}

// ---- Acts that fail ------------------------------------------------------------------------------------------------

/** What a call asks of the kernel on a board that has started. */
std::vector<std::string> own_acts(const Recorder& recorder, const Scenario& call) {
    const std::vector<std::string> start = run_in_child(recorder, [] {
                                               start_board();
                                               return std::string();
                                           }).acts;
    std::vector<std::string> acts = run_in_child(recorder, [&] {
                                        start_board();
                                        return call();
                                    }).acts;
    EXPECT_GE(acts.size(), start.size());
    acts.erase(acts.begin(), acts.begin() + static_cast<std::ptrdiff_t>(start.size()));
    return acts;
}

/** An act as the Recorder matches it: "write PATH" without its bytes, and without its result. */
std::string without_bytes(const std::string& act) {
    std::string text = act.substr(0, act.find(" = "));
    if (!text.starts_with("write ")) return text;
    return text.substr(0, text.find(' ', 6));
}

/** Plays the call once for each of its acts, with that one failing with EIO. */
void for_each_failing_act(const Recorder& recorder, const Scenario& call,
                          const std::function<void(const std::string& act, const ChildResult&)>& check) {
    std::map<std::string, int> nth;
    for (const std::string& act : run_in_child(recorder, [] { return start_board(), std::string(); }).acts)
        ++nth[without_bytes(act)];
    for (const std::string& act : own_acts(recorder, call)) {
        const std::string match = without_bytes(act);
        reset_device();
        check(act, run_in_child(Recorder(recorder).fail(match, EIO, ++nth[match]), [&] {
                  start_board();
                  return call();
              }));
    }
}

class FailingActs : public OnDevice {};

TEST_P(FailingActs, EachIsAStreamFailureWithTheKernelsErrnoLeftInPlace) {
    VELMOR_NEEDS_RECORDER();
    const bool has_output =
        GetParam().on_device.find(':') != std::string::npos && GetParam().name != "platform_info_get";
    int acts = 0;
    for_each_failing_act(Recorder(), GetParam().call, [&](const std::string& act, const ChildResult& child) {
        ++acts;
        const bool of_serial = act.find("/serial_number") != std::string::npos;
        if (of_serial || act.find(power_state) != std::string::npos) {  // the two that are forgiven
            EXPECT_EQ(child.output, of_serial ? "0 errno 5: " + platform_record("") : "0 errno 5") << act;
            EXPECT_EQ(child.error_text, "") << act;
            return;
        }
        const bool reading = act.starts_with("read ");
        EXPECT_EQ(child.output, std::string("-1 errno 5") + (has_output ? ": untouched" : "")) << act;
        EXPECT_EQ(
            child.error_text,
            failed(GetParam().name,
                   reading ? "basic_filebuf::underflow error reading the file: Input/output error" : stream_failure))
            << act;
    });
    EXPECT_EQ(acts == 0, GetParam().reads.empty() && GetParam().writes.empty() && GetParam().name != "power_suspend");
}

INSTANTIATE_TEST_SUITE_P(Functions, FailingActs, testing::ValuesIn(fitted_functions()), name_of);

// ---- MRFI lists ----------------------------------------------------------------------------------------------------

TEST(MrfiLists, ContextThatIsNoneIsNotValid) {
    reset_device();
    const ChildResult child = run_in_child([] {
        mrfi_enum_ctx none;
        Out<mrfi_connection_t> connection;
        Out<mrfi_device_t> device;
        return joined({answer([&] { return mrfi_connection_list_read(&none, connection); }, connection),
                       answer([&] { return mrfi_connection_list_close(&none); }),
                       answer([&] { return mrfi_device_list_read(&none, device); }, device),
                       answer([&] { return mrfi_device_list_close(&none); })});
    });
    constexpr char cause[] = "enumeration context not valid";
    EXPECT_EQ(child.output, "-1: untouched, -1, -1: untouched, -1");
    EXPECT_EQ(child.error_text, failed("mrfi_connection_list_read", cause) +
                                    failed("mrfi_connection_list_close", cause) +
                                    failed("mrfi_device_list_read", cause) + failed("mrfi_device_list_close", cause));
}

// ---- The watchdog --------------------------------------------------------------------------------------------------

constexpr char set_timeout[] = "ioctl /dev/watchdog 0xc0045706";
constexpr char keep_alive[] = "ioctl /dev/watchdog 0x80045705";

TEST(WatchdogFunctions, ArmFeedAndDisarm) {
    reset_device();
    const ChildResult child = run_in_child([] {
        const StandInIoctl stand_in;
        std::string text =
            joined({answer([] { return watchdog_enable(30); }), answer([] { return watchdog_refresh(); }),
                    answer([] { return watchdog_enable(0); }), answer([] { return watchdog_disable(); }),
                    answer([] { return watchdog_disable(); }), answer([] { return watchdog_refresh(); }),
                    answer([] { return watchdog_enable(-1); })});
        for (const std::string& each : StandInIoctl::seen) text += ", " + each;
        return text;
    });
    EXPECT_EQ(child.output,
              "0, 0, 0, 0, -22 errno 22, -22 errno 22, -22 errno 22, 0xc0045706 30, 0x80045705 0, 0xc0045706 0");
    EXPECT_EQ(child.error_text, failed("watchdog_disable", "Invalid argument") +
                                    failed("watchdog_refresh", "Invalid argument") +
                                    failed("watchdog_enable", "Invalid argument"));
    EXPECT_EQ(content(watchdog_node), "V");
}

TEST(WatchdogFunctions, MissingNode) {
    reset_device();
    testing_support::remove(watchdog_node);
    const ChildResult child = run_in_child([] { return answer([] { return watchdog_enable(30); }); });
    EXPECT_EQ(child.output, "-2 errno 2");
    EXPECT_EQ(child.error_text, failed("watchdog_enable", "No such file or directory"));
    EXPECT_FALSE(exists(watchdog_node));
}

TEST(WatchdogFunctions, RefusedTimeoutLeavesTheWatchdogArmed) {
    reset_device();
    const ChildResult child = run_in_child([] {
        const StandInIoctl stand_in(EBUSY);
        return joined({answer([] { return watchdog_enable(30); }), answer([] { return watchdog_refresh(); }),
                       answer([] { return watchdog_disable(); })});
    });
    EXPECT_EQ(child.output, "-16 errno 16, -16 errno 16, 0");
    EXPECT_EQ(child.error_text, failed("watchdog_enable", "Device or resource busy") +
                                    failed("watchdog_refresh", "Device or resource busy"));
    EXPECT_EQ(content(watchdog_node), "V");
}

TEST(WatchdogFunctions, ActsInOrder) {
    VELMOR_NEEDS_RECORDER();
    reset_device();
    const Recorder recorder = Recorder().watch({"/dev/watchdog"}).answer(set_timeout, 0).answer(keep_alive, 0);
    const ChildResult child = run_in_child(recorder, [] {
        return joined({answer([] { return watchdog_enable(30); }), answer([] { return watchdog_refresh(); }),
                       answer([] { return watchdog_enable(60); }), answer([] { return watchdog_disable(); })});
    });
    EXPECT_EQ(child.output, "0, 0, 0, 0");
    EXPECT_THAT(child.acts, ElementsAre("open /dev/watchdog w", set_timeout, keep_alive, "write /dev/watchdog V",
                                        "close /dev/watchdog", "open /dev/watchdog w", set_timeout,
                                        "write /dev/watchdog V", "close /dev/watchdog"));
}

TEST(WatchdogFunctions, FailingActsAreReportedWithTheirErrno) {
    VELMOR_NEEDS_RECORDER();
    const struct {
        const char* name;
        Scenario call;
    } calls[] = {
        {"watchdog_enable", [] { return answer([] { return watchdog_enable(30); }); }},
        {"watchdog_refresh", [] { return watchdog_enable(30), answer([] { return watchdog_refresh(); }); }},
        {"watchdog_disable", [] { return watchdog_enable(30), answer([] { return watchdog_disable(); }); }},
    };
    const Recorder recorder = Recorder().answer(set_timeout, 0).answer(keep_alive, 0);
    for (const auto& [name, call] : calls) {
        std::vector<std::string> own =
            name == calls[0].name ? std::vector<std::string>() : own_acts(recorder, calls[0].call);
        const std::size_t before = own.size();
        std::size_t act_number = 0;
        for_each_failing_act(recorder, call, [&, name = name](const std::string& act, const ChildResult& child) {
            if (act_number++ < before) return;  // those of the arming, which have had their turn
            const bool closing = act.starts_with("close ");
            EXPECT_EQ(child.output, closing ? "0 errno 5" : "-5 errno 5") << name << ": " << act;
            EXPECT_EQ(child.error_text, closing ? "" : failed(name, "Input/output error")) << name << ": " << act;
        });
        EXPECT_GT(act_number, before) << name;
    }
}

TEST(WatchdogFunctions, WatchdogThatCouldNotBeDisarmedStaysArmed) {
    VELMOR_NEEDS_RECORDER();
    reset_device();
    const Recorder recorder =
        Recorder().answer(set_timeout, 0).answer(keep_alive, 0).fail("write /dev/watchdog", EBUSY, 1);
    const ChildResult child = run_in_child(recorder, [] {
        return joined({answer([] { return watchdog_enable(30); }), answer([] { return watchdog_disable(); }),
                       answer([] { return watchdog_refresh(); }), answer([] { return watchdog_disable(); })});
    });
    EXPECT_EQ(child.output, "0, -16 errno 16, 0, 0");
}

// ---- None forgotten ------------------------------------------------------------------------------------------------

TEST(Functions, EveryExportIsTestedInThisFileOrInThatOfThePowerFunctions) {
    std::set<std::string> tested = {
        "watchdog_enable",       "watchdog_disable",          "watchdog_refresh",           "power_reboot",
        "power_shutdown",        "mrfi_connection_list_read", "mrfi_connection_list_close", "mrfi_device_list_read",
        "mrfi_device_list_close"};
    for (const Function& function : fitted_functions()) tested.insert(function.name);
    for (const Function& function : absent_functions()) tested.insert(function.name);
    std::set<std::string> exported;
    std::ifstream list(std::filesystem::path(__FILE__).parent_path() / "exports.txt");
    for (std::string name; std::getline(list, name);) exported.insert(name);
    EXPECT_EQ(exported.size(), 51U);
    EXPECT_EQ(tested, exported);
}

}  // namespace
