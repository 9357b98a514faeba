// SPDX-License-Identifier: MIT
// Checks libvelmor against real kernel drivers, on the board that tests/board/run emulates.
//
// HAZARD: it arms the watchdog and suspends the machine: for that board only.

#include <unistd.h>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <string>

#include "board/calls.h"

using namespace board;
using namespace testing_support;

namespace {

const std::string backlight = "/sys/class/backlight/pwm-backlight.0/";
const File brightness = {backlight + "brightness"};
const std::string invalid = "Invalid argument";

long number_in(const std::string& path) {
    return std::atol(File{path}.text().c_str());
}

std::string listed(std::initializer_list<int> numbers) {
    std::string text;
    for (const int number : numbers) text += (text.empty() ? "" : " ") + std::to_string(number);
    return text;
}

/** Check that a file with several choices has chosen this one. */
bool chooses(const File& file, const std::string& choice) {
    const std::string text = file.text();
    const std::string chosen = "[" + choice + "]";
    const bool good = text.find(chosen) != std::string::npos;
    check("choice of " + file.path, chosen, good ? chosen : text);
    return good;
}

/**
 * The library never writes more than max_brightness: the driver refuses only if that attribute overstates what it
 * takes. A process reads it once, as its board starts, so that this check comes before any call.
 */
void check_backlight_range() {
    const File max_brightness = {backlight + "max_brightness"};
    std::ofstream("/tmp/max_brightness") << "100\n";
    with_mount("/tmp/max_brightness", max_brightness.path, [&] {
        brightness.accepts("3");
        max_brightness.reads("100");
        expect("backlight_set(0, 255)", call(backlight_set, 0, 255U), file_fails_with(EINVAL), stream_failure);
        brightness.reads("3");
    });
    max_brightness.reads("7");
}

void check_backlight() {
    struct Row {
        std::uint32_t level;
        std::string raw;
    };
    for (const Row& row : {Row{0, "0"}, Row{1, "1"}, Row{128, "4"}, Row{255, "7"}}) {
        const std::string level = std::to_string(row.level);
        expect("backlight_set(0, " + level + ")", call(backlight_set, 0, row.level));
        brightness.reads(row.raw);
        expect("backlight_get(0)", call(backlight_get, 0), succeeds(level));
    }
    expect("backlight_set(0, 256)", call(backlight_set, 0, 256U), refuses(), "backlight brightness out of range");
    brightness.reads("7");
}

void check_display() {
    // The only trace that this driver leaves: blanking stops the pixel clock.
    const std::string users = "/sys/kernel/debug/clk/clcd-clock/clk_enable_count";
    const long lit = number_in(users);
    expect("display_set(0, 0)", call(display_set, 0, 0U));
    File{users}.reads(std::to_string(lit - 1));
    expect("display_set(0, 1)", call(display_set, 0, 1U));
    File{users}.reads(std::to_string(lit));

    // This kernel does not report the state.
    File{"/sys/class/graphics/fb0/blank"}.reads("");
    expect("display_get(0)", call(display_get, 0), refuses(untouched), stream_failure);
}

/** HAZARD: an error between enable and disable resets the board. */
void check_watchdog() {
    const File state = {"/sys/class/watchdog/watchdog0/state"};
    const File timeout = {"/sys/class/watchdog/watchdog0/timeout"};
    expect("watchdog_refresh()", call(watchdog_refresh), fails_with(EINVAL), invalid);
    expect("watchdog_enable(-1)", call(watchdog_enable, -1), fails_with(EINVAL), invalid);
    state.reads("inactive");

    expect("watchdog_enable(30)", call(watchdog_enable, 30));
    state.reads("active");
    timeout.reads("30");
    expect("watchdog_refresh()", call(watchdog_refresh));
    expect("watchdog_enable(20)", call(watchdog_enable, 20));
    state.reads("active");
    timeout.reads("20");

    // A timeout that the driver refuses leaves the watchdog armed.
    expect("watchdog_enable(0)", call(watchdog_enable, 0), fails_with(EINVAL), invalid);
    state.reads("active");

    expect("watchdog_enable(3)", call(watchdog_enable, 3));
    expect("watchdog_disable()", call(watchdog_disable));
    state.reads("inactive");
    expect("watchdog_disable()", call(watchdog_disable), fails_with(EINVAL), invalid);
    sleep(5);  // longer than the last timeout: the board goes on
    state.reads("inactive");
}

/** Suspend. The kernel takes at least this long and counts one more success. */
void check_one_suspend(double least_s) {
    const File successes = {"/sys/power/suspend_stats/success"};
    const long before = number_in(successes.path);
    const double start = now();
    expect("power_suspend()", call(power_suspend));
    const double took_s = now() - start;
    check("the suspend takes its time", "yes", took_s >= least_s ? "yes" : std::to_string(took_s) + " s");
    successes.reads(std::to_string(before + 1));
}

/** HAZARD: without pm_test this board sleeps forever. With it the kernel suspends its devices, waits 5 s and resumes.
 */
void check_suspend() {
    const File pm_test = {"/sys/power/pm_test"};
    const File failures = {"/sys/power/suspend_stats/fail"};
    pm_test.accepts("devices");
    if (!chooses(pm_test, "devices")) return;
    const std::string failed_before = failures.text();
    check_one_suspend(4.5);
    failures.reads(failed_before);
    pm_test.accepts("none");
    chooses(pm_test, "none");
}

/** HAZARD: the board sleeps until its power key is pressed: by tests/board/run, 3 s after the first line or later. */
void check_wake() {
    if (!chooses({"/sys/power/mem_sleep"}, "s2idle")) return;
    std::printf("velmor-board: asleep\n");
    check_one_suspend(2);
    std::printf("velmor-board: awake\n");
}

void check_pwm() {
    const std::string pwm = "/sys/devices/platform/mxc_pwm.1/";
    interface(pwm + "period", "io_config_set io_config_get io_set io_get");
    expect("io_config_set(0)", call(io_config_set, 0, io_config_t{25, 2000}));
    File{pwm + "period"}.reads("500000");  // ns
    File{pwm + "duty"}.reads("125000");    // ns
    expect("io_config_get(0)", call(io_config_get, 0), succeeds("2000 Hz 25 %"));
    expect("io_set(0, 1)", call(io_set, 0, 1));
    File{pwm + "status"}.reads("1");
    expect("io_get(0)", call(io_get, 0), succeeds("1"));
}

void check_attribute(int io, const File& attribute) {
    const std::string index = std::to_string(io);
    interface(attribute.path, "io_set io_get");
    expect("io_set(" + index + ", 0)", call(io_set, io, 0));
    attribute.reads("0");
    expect("io_set(" + index + ", 1)", call(io_set, io, 1));
    attribute.reads("1");
    expect("io_get(" + index + ")", call(io_get, io), succeeds("1"));
}

void check_thermal() {
    const std::string zone = "/sys/class/thermal/thermal_zone0/";
    for (const std::string file : {"temp", "trip_point_0_temp"}) {
        interface(zone + file, "thermal_state_get");
        expect("thermal_state_get(0)", call(thermal_state_get, 0), succeeds("45000 60000 75000 85000 95000"));
    }
}

void check_platform() {
    platform_info_t info = {};
    interface("/proc/platform/serial_number", "platform_info_get");
    expect("platform_info_get()", [&] { return answer([&] { return platform_info_get(&info, sizeof info); }); });
    check("the serial number", "VB0012C0FFEE", info.serial_number);
    interface("/proc/platform/os_version_major", "platform_info_get");
    check("the kernel's version", listed({2, 1, 3, 'R', 17, 2013}),
          listed({info.os_version_major, info.os_version_minor, info.os_version_revision, info.os_version_status,
                  info.os_version_build, info.os_date_year}));
    interface("/etc/fs_version", "platform_info_get");
    check("the file system's version", listed({2, 17, 1, 17, 4, 2013}),
          listed({info.fs_version_major, info.fs_version_build, info.fs_version_development, info.fs_date_day,
                  info.fs_date_month, info.fs_date_year}));
    interface("/proc/platform/pht", "platform_mid_get platform_can_unique_num_get es_present");
    expect("platform_mid_get()", call(platform_mid_get), succeeds(std::to_string(0x4d02)));
    expect("platform_can_unique_num_get()", call(platform_can_unique_num_get), succeeds(std::to_string(0x012345)));
    expect("es_present()", call(es_present), succeeds("true"));
}

void check_absent() {
    interface("no such hardware", "attitude_get serial_alt_func_has backlight_get");
    expect("attitude_get()", call(attitude_get), fails_with(EOPNOTSUPP, untouched), not_supported);
    expect("serial_alt_func_has(0, 0)", call(serial_alt_func_has, 0, 0), fails_with(EOPNOTSUPP, untouched),
           not_supported);
    expect("backlight_get(0, nullptr)", call(backlight_get, 0, nullptr), fails_with(EINVAL));
}

}  // namespace

int main() {
    begin_checks(on_emulated_board(), "not the emulated board");
    interface(brightness.path, "backlight_set backlight_get");
    check_backlight_range();
    check_backlight();
    interface("/sys/class/graphics/fb0/blank", "display_set display_get");
    check_display();
    interface("/dev/watchdog", "watchdog_enable watchdog_refresh watchdog_disable");
    check_watchdog();
    interface("/sys/power/state", "power_suspend");
    check_suspend();
    check_wake();
    check_pwm();
    check_attribute(9, {"/sys/devices/platform/gps.0/enable"});
    check_attribute(11, {"/sys/devices/platform/echosounder.0/reset"});
    check_thermal();
    check_platform();
    check_absent();
    return end_checks();
}
