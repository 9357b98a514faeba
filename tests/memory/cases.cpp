// SPDX-License-Identifier: MIT
#include "memory/cases.h"

#include <fcntl.h>
#include <array>
#include <bit>
#include <csignal>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "families/calls.h"
#include "velmor.h"

namespace memory {

namespace {

using families::call_of;
using families::calls;
using testing_support::answer;
using testing_support::call;
using testing_support::Scenario;

std::string platform_info() {
    platform_info_t info;
    std::memset(&info, 0x5A, sizeof info);
    std::ostringstream text;
    text << answer([&] { return platform_info_get(&info, sizeof info); }) << std::hex;
    if (!text.str().starts_with("0")) return text.str();  // a part of the record may be written
    text << ':';
    for (const unsigned byte : std::bit_cast<std::array<unsigned char, sizeof info>>(info)) text << ' ' << byte;
    return text.str();
}

template <typename Entry>
struct List {
    int (*open)(int, mrfi_enum_ctx**);
    int (*read)(mrfi_enum_ctx*, Entry*);
    int (*close)(mrfi_enum_ctx*);

    /** Open the list and read all its entries. */
    std::string opened() const {
        mrfi_enum_ctx* list = nullptr;
        std::string text = call(open, 0, &list)();
        if (list == nullptr) return text + ": untouched";
        text += ":";
        for (std::string entry; !(entry = call(read, list)()).starts_with("0");) text += " [" + entry + "]";
        return text + " " + call(close, list)();
    }

    std::string closed() const {
        mrfi_enum_ctx* list = nullptr;
        open(0, &list);
        return call(close, list)();
    }

    /** Read the entry that comes after this many others. */
    Case reading(const std::string& function, const std::string& what, int others) const {
        static mrfi_enum_ctx* list = nullptr;  // lives as long as the process
        const auto read_entry = [*this] { return call(read, list)(); };
        const auto read_others = [*this, others] {
            open(0, &list);
            for (int i = 0; i < others; ++i) call(read, list)();
        };
        return {function, what, read_entry, read_others};
    }
};

constexpr List<mrfi_connection_t> connections = {mrfi_connection_list_open, mrfi_connection_list_read,
                                                 mrfi_connection_list_close};
constexpr List<mrfi_device_t> devices = {mrfi_device_list_open, mrfi_device_list_read, mrfi_device_list_close};

std::vector<Case> cases_of_every_board() {
    const auto arm_watchdog = [] { watchdog_enable(60); };
    return {
        {"backlight_set", "out of range", call(backlight_set, 0, 256U)},
        {"io_set", "attribute", call_of("io_set", 9)},
        {"io_get", "attribute", call_of("io_get", 9)},
        {"io_config_set", "out of range", call(io_config_set, 0, io_config_t{50, 0})},
        {"power_reboot", "status lost", call_of("power_reboot"), [] { std::signal(SIGCHLD, SIG_IGN); }},
        {"watchdog_enable", "another's", call_of("watchdog_enable"),
         [] { open("/dev/watchdog", O_WRONLY | O_CLOEXEC); }},
        {"watchdog_enable", "armed", call_of("watchdog_enable"), arm_watchdog},
        {"watchdog_refresh", "armed", call_of("watchdog_refresh"), arm_watchdog},
        {"watchdog_disable", "armed", call_of("watchdog_disable"), arm_watchdog},
    };
}

std::vector<Case> cases_of_all_families() {
    return {
        {"backlight_set", "through a PWM", call_of("backlight_set", 1)},
        {"backlight_get", "through a PWM", call_of("backlight_get", 1)},
        {"io_set", "GPIO line", call_of("io_set", 1)},
        {"io_get", "GPIO line", call_of("io_get", 2)},
        {"io_set", "another's GPIO line", call_of("io_set", 1), [] { std::ofstream("/sys/class/gpio/export") << 37; }},
        {"io_set", "input line", call_of("io_set", 2)},
        {"io_get", "output line", call_of("io_get", 1)},
        {"thermal_state_get", "second zone", call_of("thermal_state_get", 1)},
        {"led_color_set", "out of range", call(led_color_set, 0, led_color_t{256, 0, 0})},
        {"mrfi_unlink", "linked peer", call_of("mrfi_unlink"), call_of("mrfi_link")},
        {"serial_mux", "other connector", call(serial_mux, 0, 2)},
        {"serial_mux", "no connector", call(serial_mux, 0, 3)},
        {"serial_alt_func_set", "key", call(serial_alt_func_set, 0, 1)},
        {"serial_alt_func_set", "without a key", call(serial_alt_func_set, 1, 1)},
        {"mrfi_connection_list_close", "list", [] { return connections.closed(); }},
        {"mrfi_device_list_close", "list", [] { return devices.closed(); }},
        connections.reading("mrfi_connection_list_read", "first entry", 0),
        connections.reading("mrfi_connection_list_read", "last entry", 1),
        connections.reading("mrfi_connection_list_read", "end", 2),
        devices.reading("mrfi_device_list_read", "first entry", 0),
        devices.reading("mrfi_device_list_read", "last entry", 2),
        devices.reading("mrfi_device_list_read", "end", 3),
    };
}

}  // namespace

std::vector<Case> cases(bool all_families) {
    const std::map<std::string, Scenario> with_all_outputs = {
        {"platform_info_get", platform_info},
        {"mrfi_connection_list_open", [] { return connections.opened(); }},
        {"mrfi_device_list_open", [] { return devices.opened(); }},
    };
    std::vector<Case> all = {
        {.function = "es_present", .what = "start", .call = call(es_present), .starts_board = true}};
    for (const auto& [function, unused] : calls()) {
        const auto found = with_all_outputs.find(function);
        all.push_back({function, "", found == with_all_outputs.end() ? call_of(function) : found->second});
    }
    for (const Case& each : cases_of_every_board()) all.push_back(each);
    if (!all_families) return all;
    for (const Case& each : cases_of_all_families()) all.push_back(each);
    return all;
}

std::vector<std::string> answers_of_queries() {
    std::vector<std::string> answers = {"platform_info_get " + platform_info()};
    for (const auto& [function, make_call] : calls()) {
        if (function == "platform_info_get") continue;
        if (!function.ends_with("_get") && !function.ends_with("_present") && !function.ends_with("_has")) continue;
        answers.push_back(function + " " + make_call(0));
    }
    return answers;
}

}  // namespace memory
