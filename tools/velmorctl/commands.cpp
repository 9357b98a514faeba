// SPDX-License-Identifier: MIT
#include "commands.h"

#include <unistd.h>
#include <ctime>
#include <functional>
#include <iostream>
#include <limits>

#include "call.h"
#include "files.h"
#include "numbers.h"
#include "objects.h"

namespace VelmorCtl {

namespace {

constexpr int any_number = std::numeric_limits<int>::max();

/** The item of a value that a function of the library has set, or failed to set. */
Item set(Item item, const std::string& function, const std::function<int()>& function_call) {
    const int index = item.index.value_or(0);
    item.failure = call(function, index, function_call);
    if (item.failure)
        item.value = Json();
    else
        item.source = source_of(function, index);
    return item;
}

int on_or_off(const std::string& argument, const std::string& text) {
    return choice(argument, text, {"off", "on"});
}

Item mrfi_peer(int index, const std::string& verb, const std::string& text, int (*act)(int, const mrfi_addr_t*)) {
    const mrfi_addr_t peer = address(text);
    return set({"mrfi", index, verb, text_of(peer)}, "mrfi_" + verb, [&] { return act(index, &peer); });
}

double seconds_of(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/** How long the unit has been suspended since it was booted: only one of the clocks goes on. */
double time_asleep_s() {
    return seconds_of(CLOCK_BOOTTIME) - seconds_of(CLOCK_MONOTONIC);
}

bool confirmed(const std::string& question) {
    std::cerr << "velmorctl: " << question << " [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace

Report set_backlight(int index, const std::string& level) {
    const bool is_percent = level.ends_with('%');
    const auto wanted = is_percent ? number_in(level.substr(0, level.size() - 1), 0, 100) : number_in(level, 0, 255);
    if (!wanted)
        throw WrongUse("backlight set: \"" + level + "\" is not valid; use a level from 0 to 255, or 0% to 100%");
    BacklightSteps steps;
    const auto failure = read_steps(index, steps);
    Item item{"backlight", index, "level"};
    if (is_percent && failure) {
        item.failure = failure;
        return {item};
    }
    const auto number = is_percent ? steps.level_of_percent(*wanted) : static_cast<std::uint32_t>(*wanted);
    item.value = number;
    item.unit = "level";
    item.text = std::to_string(number) + " of 255";
    item = set(item, "backlight_set", [&] { return backlight_set(index, number); });
    if (item.failure || failure) return {item};
    Item percent = percent_item(index, steps.percent_of(number), item.source);
    if (is_percent && percent.value != *wanted) percent.note = "the step nearest to " + std::to_string(*wanted) + " %";
    return {item, percent};
}

Report set_display(int index, const std::string& on) {
    const int state = on_or_off("display", on);
    Item item{"display", index, "on", state == 1};
    item.text = on;
    return {set(item, "display_set", [&] { return display_set(index, static_cast<std::uint32_t>(state)); })};
}

Report set_led(int index, const std::string& color_text) {
    const led_color_t wanted = color(color_text);
    return {
        set({"led", index, "color", text_of(wanted)}, "led_color_set", [&] { return led_color_set(index, &wanted); })};
}

Report set_io(int line, const std::string& level) {
    const int value = number("io set", level, 0, 1);
    return {set({"io", line, "level", value}, "io_set", [&] { return io_set(line, value); })};
}

Report configure_io(int line, const std::optional<std::string>& frequency, const std::optional<std::string>& duty) {
    constexpr int keep = -1;
    constexpr int highest_frequency = 2000000;
    io_config_t wanted = {};
    wanted.duty = duty ? number("--duty", *duty, 0, 100) : keep;
    if (frequency) {
        wanted.frequency = number("--frequency", *frequency, 1, highest_frequency);
    } else {
        Report present = io_configuration(line);
        if (present.front().failure) return present;
        wanted.frequency = present.front().value.get<int>();
    }
    Item item = set({"io", line, "frequency", wanted.frequency, "Hz"}, "io_config_set",
                    [&] { return io_config_set(line, &wanted); });
    item.text = std::to_string(wanted.frequency) + " Hz";
    if (line == 0 && !item.failure) item.note = "until the next start: see velmorctl(1), HAZARDS";
    if (item.failure || wanted.duty == keep) return {item};
    Item percent{"io", line, "duty", wanted.duty, "%", item.source};
    percent.text = std::to_string(wanted.duty) + " %";
    return {item, percent};
}

Report select_antenna(const std::string& radio, const std::string& antenna) {
    const bool is_wifi = choice("antenna", radio, {"bluetooth", "wifi"}) == 1;
    const int level = number("antenna " + radio, antenna, 0, 1);
    return {set({"antenna", std::nullopt, radio, level}, radio + "_antenna_set",
                [&] { return is_wifi ? wifi_antenna_set(level) : bluetooth_antenna_set(level); })};
}

Report connect_serial(int port, const std::string& connector) {
    const int wanted = number("connector", connector, 0, any_number);
    return {set({"serial", port, "connector", wanted}, "serial_mux", [&] { return serial_mux(port, wanted); })};
}

Report set_serial_function(int port, const std::string& function) {
    int wanted = SERIAL_ALT_FUNC_SERIAL;
    if (function == function_name(SERIAL_ALT_FUNC_KEY))
        wanted = SERIAL_ALT_FUNC_KEY;
    else if (function != function_name(SERIAL_ALT_FUNC_SERIAL))
        wanted = number_in(function, 0, any_number).value_or(-1);
    if (wanted < 0) throw WrongUse("function: \"" + function + "\" is not valid; use serial, key or a number");
    return {set({"serial", port, "function", function_name(wanted)}, "serial_alt_func_set",
                [&] { return serial_alt_func_set(port, wanted); })};
}

Report link_mrfi(int index, const std::string& address) {
    return {mrfi_peer(index, "link", address, mrfi_link)};
}

Report unlink_mrfi(int index, const std::string& address) {
    return {mrfi_peer(index, "unlink", address, mrfi_unlink)};
}

Report set_autolink(int index, const std::string& on) {
    const int state = on_or_off("autolink", on);
    Item item{"mrfi", index, "autolink", state == 1};
    item.text = on;
    return {set(item, "mrfi_autolink_set", [&] { return mrfi_autolink_set(index, state); })};
}

Report power(const std::string& what, bool yes) {
    if (!yes && ::isatty(STDIN_FILENO) == 0)
        throw WrongUse("power " + what + ": there is no terminal to ask on; use --yes");
    Item item{"power", std::nullopt, what, "done"};
    if (!yes && !confirmed("power " + what + ": really?")) {
        item.value = Json();
        item.failure = Failure{Status::failed, "not confirmed", ""};
        return {item};
    }
    if (what == "off") return {set(item, "power_shutdown", power_shutdown)};
    if (what == "reboot") return {set(item, "power_reboot", power_reboot)};
    // The library does not report that the state cannot be written, or that the kernel has refused.
    constexpr double shortest_s = 0.01;  // time passes between reading the two clocks
    const double asleep = time_asleep_s();
    Item suspended = set(item, "power_suspend", power_suspend);
    if (!suspended.failure) suspended.failure = problem_of_call("power_suspend", 0, false);
    if (suspended.failure) {
        suspended.value = Json();
    } else if (time_asleep_s() < asleep + shortest_s) {
        suspended.value = "requested";
        suspended.note = "the kernel's clocks show no sleep: it may have refused";
    }
    return {suspended};
}

}  // namespace VelmorCtl
