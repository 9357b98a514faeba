// SPDX-License-Identifier: MIT
#include "memory/cases.h"

#include <fcntl.h>
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

#include "families/calls.h"
#include "support/scenario.h"
#include "velmor.h"

namespace memory {

namespace {

using families::calls;
using testing_support::answer;
using testing_support::Out;

constexpr int armed_for_s = 60;

template <typename Entry>
std::string next_entry(int (*read)(mrfi_enum_ctx*, Entry*), mrfi_enum_ctx* list) {
    Out<Entry> entry;
    return answer([&] { return read(list, entry); }, entry);
}

std::string platform_info() {
    platform_info_t info;
    std::memset(&info, 0x5A, sizeof info);
    std::string text = answer([&] { return platform_info_get(&info, sizeof info); });
    if (!text.starts_with("0")) return text;  // a part of the record may be written
    text += ": ";
    std::array<unsigned char, sizeof info> bytes = {};
    std::memcpy(bytes.data(), &info, sizeof info);
    for (const unsigned byte : bytes) {
        std::array<char, 3> digits = {};
        std::snprintf(digits.data(), digits.size(), "%02x", byte);
        text += digits.data();
    }
    return text;
}

template <typename Entry>
struct List {
    int (*open)(int, mrfi_enum_ctx**);
    int (*read)(mrfi_enum_ctx*, Entry*);
    int (*close)(mrfi_enum_ctx*);

    /** An open, and all that the list holds. */
    std::string opened() const {
        mrfi_enum_ctx* list = nullptr;
        std::string text = answer([&] { return open(0, &list); });
        if (list == nullptr) return text + ": untouched";
        text += ":";
        for (std::string entry; !(entry = next_entry(read, list)).starts_with("0");) text += " [" + entry + "]";
        return text + " " + answer([&] { return close(list); });
    }

    std::string closed() const {
        mrfi_enum_ctx* list = nullptr;
        open(0, &list);
        return answer([&] { return close(list); });
    }

    /** The entry behind so many others. */
    Case reading(const std::string& function, const std::string& what, int position) const {
        static mrfi_enum_ctx* list = nullptr;  // lives as long as the process
        return {.function = function,
                .what = what,
                .call = [read = read] { return next_entry(read, list); },
                .prepare =
                    [open = open, read = read, position] {
                        open(0, &list);
                        for (int i = 0; i < position; ++i) next_entry(read, list);
                    }};
    }
};

constexpr List<mrfi_connection_t> connections = {mrfi_connection_list_open, mrfi_connection_list_read,
                                                 mrfi_connection_list_close};
constexpr List<mrfi_device_t> devices = {mrfi_device_list_open, mrfi_device_list_read, mrfi_device_list_close};

void arm_watchdog() {
    watchdog_enable(armed_for_s);
}

std::vector<Case> cases_of_all_families() {
    std::vector<Case> all = {
        {"backlight_set", "through a PWM", [] { return calls().at("backlight_set")(1); }},
        {"backlight_get", "through a PWM", [] { return calls().at("backlight_get")(1); }},
        {"io_set", "GPIO line", [] { return calls().at("io_set")(1); }},
        {"io_get", "GPIO line", [] { return calls().at("io_get")(2); }},
        {"io_set", "another's GPIO line", [] { return calls().at("io_set")(1); },
         [] { std::ofstream("/sys/class/gpio/export") << 37; }},
        {"io_set", "input line", [] { return calls().at("io_set")(2); }},
        {"io_get", "output line", [] { return calls().at("io_get")(1); }},
        {"thermal_state_get", "second zone", [] { return calls().at("thermal_state_get")(1); }},
        {"led_color_set", "out of range",
         [] {
             const led_color_t color = {256, 0, 0};
             return answer([&] { return led_color_set(0, &color); });
         }},
        {"mrfi_unlink", "linked peer", [] { return calls().at("mrfi_unlink")(0); }, [] { calls().at("mrfi_link")(0); }},
        {"serial_mux", "other connector", [] { return answer([] { return serial_mux(0, 2); }); }},
        {"serial_mux", "no connector", [] { return answer([] { return serial_mux(0, 3); }); }},
        {"serial_alt_func_set", "key", [] { return answer([] { return serial_alt_func_set(0, 1); }); }},
        {"serial_alt_func_set", "without a key", [] { return answer([] { return serial_alt_func_set(1, 1); }); }},
        {"mrfi_connection_list_close", "list", [] { return connections.closed(); }},
        {"mrfi_device_list_close", "list", [] { return devices.closed(); }},
    };
    all.push_back(connections.reading("mrfi_connection_list_read", "first entry", 0));
    all.push_back(connections.reading("mrfi_connection_list_read", "last entry", 1));
    all.push_back(connections.reading("mrfi_connection_list_read", "end", 2));
    all.push_back(devices.reading("mrfi_device_list_read", "first entry", 0));
    all.push_back(devices.reading("mrfi_device_list_read", "last entry", 2));
    all.push_back(devices.reading("mrfi_device_list_read", "end", 3));
    return all;
}

}  // namespace

std::vector<Case> cases(bool all_families) {
    std::vector<Case> all = {{.function = "es_present",
                              .what = "start",
                              .call = [] { return calls().at("es_present")(0); },
                              .starts_board = true}};
    for (const auto& [function, call] : calls()) {
        if (function == "platform_info_get") {
            all.push_back({function, "", platform_info});
        } else if (function == "mrfi_connection_list_open") {
            all.push_back({function, "", [] { return connections.opened(); }});
        } else if (function == "mrfi_device_list_open") {
            all.push_back({function, "", [] { return devices.opened(); }});
        } else {
            all.push_back({function, "", [call = call] { return call(0); }});
        }
    }
    const std::vector<Case> more = {
        {"backlight_set", "out of range", [] { return answer([] { return backlight_set(0, 256); }); }},
        {"io_set", "attribute", [] { return calls().at("io_set")(9); }},
        {"io_get", "attribute", [] { return calls().at("io_get")(9); }},
        {"io_config_set", "out of range",
         [] {
             const io_config_t config = {50, 0};
             return answer([&] { return io_config_set(0, &config); });
         }},
        {"power_reboot", "status lost", [] { return calls().at("power_reboot")(0); },
         [] { std::signal(SIGCHLD, SIG_IGN); }},
        {"watchdog_enable", "another's", [] { return calls().at("watchdog_enable")(0); },
         [] { open("/dev/watchdog", O_WRONLY | O_CLOEXEC); }},
        {"watchdog_enable", "armed", [] { return calls().at("watchdog_enable")(0); }, arm_watchdog},
        {"watchdog_refresh", "armed", [] { return calls().at("watchdog_refresh")(0); }, arm_watchdog},
        {"watchdog_disable", "armed", [] { return calls().at("watchdog_disable")(0); }, arm_watchdog},
    };
    all.insert(all.end(), more.begin(), more.end());
    if (!all_families) return all;
    std::ranges::move(cases_of_all_families(), std::back_inserter(all));
    return all;
}

std::vector<std::string> answers_of_queries() {
    std::vector<std::string> answers = {"platform_info_get " + platform_info()};
    for (const auto& [function, call] : calls()) {
        if (function == "platform_info_get") continue;
        if (!function.ends_with("_get") && !function.ends_with("_present") && !function.ends_with("_has")) continue;
        answers.push_back(function + " " + call(0));
    }
    return answers;
}

}  // namespace memory
