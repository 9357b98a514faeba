// SPDX-License-Identifier: MIT
// What a call asks of the hardware, act by act: when all goes well, and when one of the acts fails.

#include <gmock/gmock.h>
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "families/calls.h"
#include "families/recording.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/acts.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using families::calls;
using families::give_lines_back;
using families::Kind;
using families::proves;
using families::Recording;
using testing::ElementsAreArray;
using testing_support::Acts;
using testing_support::answer;
using testing_support::failed;
using testing_support::in_order;
using testing_support::Out;
using testing_support::Recorder;
using testing_support::Scenario;
using testing_support::stream_failure;

namespace {

/** One attribute opened, transferred and closed. */
struct Step {
    std::string path;
    std::string bytes;                // that are written; a read has none
    std::vector<Step> recovery = {};  // at most one: what follows where this fails

    bool reads() const { return bytes.empty(); }
    Acts acts() const { return reads() ? testing_support::read_acts(path) : testing_support::write_acts(path, bytes); }
};

enum class Part { open, transfer, close };
constexpr Part parts[] = {Part::open, Part::transfer, Part::close};

/** The act as the Recorder matches it. */
std::string act_of(const Step& step, Part part) {
    if (part == Part::open) return step.acts()[0];
    if (part == Part::close) return step.acts()[2];
    return (step.reads() ? "read " : "write ") + step.path;
}

/** The acts of a step of which a part fails: no more than a close follows. */
Acts failing(const Step& step, Part part, int error) {
    Acts acts = step.acts();
    acts.at(static_cast<std::size_t>(part)) += std::string(" = ") + strerrorname_np(error);
    if (part == Part::open) acts.resize(1);
    return acts;
}

std::string text_of_failure(const Step& step, Part part) {
    const bool reading = step.reads() && part == Part::transfer;
    return reading ? "basic_filebuf::underflow error reading the file: Input/output error" : stream_failure;
}

struct Sequence {
    std::string function;
    std::string what;
    Scenario call;
    std::string output;
    std::vector<Step> steps = {};
    families::Values before = {};
    std::string cause = {};  // of the failure line where it fails by itself
};

// ---- The calls -----------------------------------------------------------------------------------------------------

Step reading(const std::string& path) {
    return {path, ""};
}

Step writing(const std::string& path, const std::string& bytes) {
    return {path, bytes};
}

const std::string gpio = "/sys/class/gpio/";

/** A line exported, directed, used and given back, also where its level cannot be transferred. */
std::vector<Step> line(int pin, const std::string& direction, const std::string& level) {
    const std::string number = std::to_string(pin);
    const std::string attributes = gpio + "gpio" + number + "/";
    const Step unexport = writing(gpio + "unexport", number);
    return {writing(gpio + "export", number), writing(attributes + "direction", direction),
            Step{attributes + "value", level, {unexport}}, unexport};
}

std::vector<Step> output(int pin, const std::string& level) {
    return line(pin, "out", level);
}

std::vector<Step> input(int pin) {
    return line(pin, "in", "");
}

std::vector<Step> both(std::vector<Step> first, const std::vector<Step>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::string backlight = "/sys/class/backlight/pwm-backlight.0/";
const std::string pwm1 = "/sys/devices/platform/mxc_pwm.1/";
const std::string pwm2 = "/sys/devices/platform/mxc_pwm.2/";
const std::string gps_enable = "/sys/devices/platform/gps.0/enable";
const std::string echosounder_reset = "/sys/devices/platform/echosounder.0/reset";
const std::string color_file = "/sys/class/leds/keypad/color";
const std::string keys = "/sys/devices/platform/gpio-keys/keys";
const std::string disabled_keys = "/sys/devices/platform/gpio-keys/disabled_keys";

std::string blank(int display) {
    return "/sys/class/graphics/fb" + std::to_string(display) + "/blank";
}

/** The zone's temperature, and those of its trip points in this order. */
std::vector<Step> zone(int index, const std::vector<int>& trips) {
    const std::string directory = "/sys/class/thermal/thermal_zone" + std::to_string(index) + "/";
    std::vector<Step> steps = {reading(directory + "temp")};
    for (const int trip : trips) steps.push_back(reading(directory + "trip_point_" + std::to_string(trip) + "_temp"));
    return steps;
}

std::string mrfi(int index, const std::string& attribute) {
    return "/sys/class/mrfi/mrfi" + std::to_string(index) + "/" + attribute;
}

template <typename Call>
Scenario telling(Call call) {
    return [call] { return answer(call); };
}

Scenario known(const std::string& function, int index = 0) {
    return [function, index] { return calls().at(function)(index); };
}

Scenario backlight_at(int index, unsigned level) {
    return telling([=] { return backlight_set(index, level); });
}

Scenario programmed(int duty, int frequency) {
    return telling([=] {
        const io_config_t config = {duty, frequency};
        return io_config_set(0, &config);
    });
}

Scenario colored(int red, int green, int blue) {
    return telling([=] {
        const led_color_t color = {red, green, blue};
        return led_color_set(0, &color);
    });
}

Scenario with_address(int (*function)(int, const mrfi_addr_t*), int index, const mrfi_addr_t& address) {
    return telling([=] { return function(index, &address); });
}

Scenario switched(int port, serial_alt_func_t function) {
    return telling([=] { return serial_alt_func_set(port, function); });
}

constexpr mrfi_addr_t peer = {{0x01, 0x00, 0xab, 0x00}};
constexpr mrfi_addr_t highest = {{0xff, 0xff, 0xff, 0xff}};
constexpr mrfi_addr_t zero = {{0, 0, 0, 0}};
constexpr char dark[] = "backlight brightness out of range";
constexpr char no_color[] = "color out of range";
constexpr char no_frequency[] = "PWM frequency out of range";
constexpr char no_duty[] = "PWM duty out of range";

std::vector<Sequence> lights() {
    return {
        {"backlight_set", "1", backlight_at(0, 1), "0", {writing(backlight + "brightness", "1")}},
        {"backlight_set", "128", backlight_at(0, 128), "0", {writing(backlight + "brightness", "4")}},
        {"backlight_set", "255", backlight_at(0, 255), "0", {writing(backlight + "brightness", "7")}},
        {"backlight_set", "0", backlight_at(0, 0), "0", {writing(backlight + "brightness", "0")}},
        {"backlight_set", "256", backlight_at(0, 256), "-1", {}, {}, dark},
        {"backlight_get",
         "level",
         known("backlight_get", 0),
         "0: 128",
         {reading(backlight + "brightness")},
         {{"backlight.brightness", "4"}}},
        {"backlight_set",
         "1_of_the_pwm",
         backlight_at(1, 1),
         "0",
         {reading(pwm2 + "period"), writing(pwm2 + "duty", "0"), writing(pwm2 + "status", "1")}},
        {"backlight_set",
         "128_of_the_pwm",
         backlight_at(1, 128),
         "0",
         {reading(pwm2 + "period"), writing(pwm2 + "duty", "500000"), writing(pwm2 + "status", "1")}},
        {"backlight_set",
         "255_of_the_pwm",
         backlight_at(1, 255),
         "0",
         {reading(pwm2 + "period"), writing(pwm2 + "duty", "1000000"), writing(pwm2 + "status", "1")}},
        {"backlight_set", "0_of_the_pwm", backlight_at(1, 0), "0", {writing(pwm2 + "status", "0")}},
        {"backlight_set", "256_of_the_pwm", backlight_at(1, 256), "-1", {}, {}, dark},
        {"backlight_get",
         "level_of_the_pwm",
         known("backlight_get", 1),
         "0: 127",
         {reading(pwm2 + "status"), reading(pwm2 + "period"), reading(pwm2 + "duty")},
         {{"pwm2.period", "1000000"}, {"pwm2.duty", "500000"}, {"pwm2.status", "1"}}},
        {"backlight_get",
         "of_the_stopped_pwm",
         known("backlight_get", 1),
         "0: 0",
         {reading(pwm2 + "status")},
         {{"pwm2.duty", "500000"}, {"pwm2.status", "0"}}},
        {"display_set", "on", telling([] { return display_set(0, 1); }), "0", {writing(blank(0), "0")}},
        {"display_set", "off", telling([] { return display_set(1, 0); }), "0", {writing(blank(1), "1")}},
        {"display_set", "other", telling([] { return display_set(0, 2); }), "0", {writing(blank(0), "3")}},
        {"display_get", "on", known("display_get", 0), "0: true", {reading(blank(0))}, {{"display.blank", "0"}}},
        {"display_get", "off", known("display_get", 1), "0: false", {reading(blank(1))}, {{"display1.blank", "1"}}},
        {"display_get", "deeper", known("display_get", 0), "0: true", {reading(blank(0))}, {{"display.blank", "4"}}},
        {"led_color_set", "color", colored(255, 0, 16), "0", {writing(color_file, "255 0 16")}},
        {"led_color_set", "red_too_low", colored(-1, 0, 0), "-1", {}, {}, no_color},
        {"led_color_set", "red_too_high", colored(256, 0, 0), "-1", {}, {}, no_color},
        {"led_color_set", "green_too_low", colored(0, -1, 0), "-1", {}, {}, no_color},
        {"led_color_set", "green_too_high", colored(0, 256, 0), "-1", {}, {}, no_color},
        {"led_color_set", "blue_too_low", colored(0, 0, -1), "-1", {}, {}, no_color},
        {"led_color_set", "blue_too_high", colored(0, 0, 256), "-1", {}, {}, no_color},
        {"led_color_get",
         "color",
         known("led_color_get"),
         "0: 1 2 3",
         {reading(color_file)},
         {{"keypad.color", "1 2 3"}}},
    };
}

std::vector<Sequence> lines() {
    return {
        {"io_set", "high", telling([] { return io_set(1, 1); }), "0", output(37, "1")},
        {"io_set", "low", telling([] { return io_set(1, 0); }), "0", output(37, "0")},
        {"io_set", "of_an_input", telling([] { return io_set(2, 1); }), "-1", {}, {}, "GPIO direction not valid"},
        {"io_get", "level", known("io_get", 2), "0: 1", input(38), {{"gpio.38", "1"}}},
        {"io_get", "of_an_output", known("io_get", 1), "-1: untouched", {}, {}, "GPIO direction not valid"},
        {"io_set", "attribute", telling([] { return io_set(9, 1); }), "0", {writing(gps_enable, "1")}},
        {"io_get",
         "attribute",
         known("io_get", 11),
         "0: 0",
         {reading(echosounder_reset)},
         {{"echosounder.reset", "0"}}},
        {"io_set", "pwm_on", telling([] { return io_set(0, 1); }), "0", {writing(pwm1 + "status", "1")}},
        {"io_set", "pwm_off", telling([] { return io_set(0, 0); }), "0", {writing(pwm1 + "status", "0")}},
        {"io_set", "pwm_other", telling([] { return io_set(0, 2); }), "0"},
        {"io_get", "pwm", known("io_get", 0), "0: 1", {reading(pwm1 + "status")}, {{"pwm1.status", "1"}}},
        // The board has programmed 2700 Hz and 50 %.
        {"io_config_set",
         "both",
         programmed(25, 1000),
         "0",
         {reading(pwm1 + "period"), reading(pwm1 + "duty"), reading(pwm1 + "period"), writing(pwm1 + "duty", "0"),
          writing(pwm1 + "period", "1000000"), reading(pwm1 + "period"), writing(pwm1 + "duty", "250000")}},
        {"io_config_set",
         "kept_duty",
         programmed(-1, 2000000),
         "0",
         {reading(pwm1 + "period"), reading(pwm1 + "duty"), reading(pwm1 + "period"), writing(pwm1 + "duty", "0"),
          writing(pwm1 + "period", "500"), reading(pwm1 + "period"), writing(pwm1 + "duty", "250")}},
        {"io_config_set",
         "no_duty",
         programmed(0, 1000),
         "0",
         {reading(pwm1 + "period"), reading(pwm1 + "duty"), reading(pwm1 + "period"), writing(pwm1 + "duty", "0"),
          writing(pwm1 + "period", "1000000")}},
        // 50 x 1000000000 wraps in 32 bits.
        {"io_config_set",
         "slowest",
         programmed(50, 1),
         "0",
         {reading(pwm1 + "period"), reading(pwm1 + "duty"), reading(pwm1 + "period"), writing(pwm1 + "duty", "0"),
          writing(pwm1 + "period", "1000000000"), reading(pwm1 + "period"), writing(pwm1 + "duty", "27553597")}},
        {"io_config_set",
         "duty_too_high",
         programmed(101, 1000),
         "-1",
         {reading(pwm1 + "period"), reading(pwm1 + "duty"), reading(pwm1 + "period"), writing(pwm1 + "duty", "0"),
          writing(pwm1 + "period", "1000000")},
         {},
         no_duty},
        {"io_config_set", "too_slow", programmed(50, 0), "-1", {}, {}, no_frequency},
        {"io_config_set", "too_fast", programmed(50, 2000001), "-1", {}, {}, no_frequency},
        {"io_config_get",
         "pwm",
         known("io_config_get", 0),
         "0: 2700 Hz 50 %",
         {reading(pwm1 + "period"), reading(pwm1 + "period"), reading(pwm1 + "duty")}},
        {"wifi_antenna_set", "second", telling([] { return wifi_antenna_set(1); }), "0", output(40, "1")},
        {"wifi_antenna_set", "first", telling([] { return wifi_antenna_set(0); }), "0", output(40, "0")},
        {"bluetooth_antenna_set", "second", telling([] { return bluetooth_antenna_set(1); }), "0", output(41, "1")},
        {"bluetooth_antenna_set", "first", telling([] { return bluetooth_antenna_set(0); }), "0", output(41, "0")},
        {"serial_mux", "first", telling([] { return serial_mux(0, 0); }), "0", both(output(42, "0"), output(43, "0"))},
        {"serial_mux", "second", telling([] { return serial_mux(0, 1); }), "0", both(output(42, "1"), output(43, "0"))},
        {"serial_mux", "third", telling([] { return serial_mux(0, 2); }), "0", both(output(42, "1"), output(43, "1"))},
        {"serial_mux", "unknown", telling([] { return serial_mux(0, 3); }), "-1", {}, {}, "Unsupported port"},
        {"serial_mux", "negative", telling([] { return serial_mux(0, -1); }), "-1", {}, {}, "Unsupported port"},
    };
}

std::vector<Sequence> sensors_and_radios() {
    const auto autolink = [](int index, int on) { return telling([=] { return mrfi_autolink_set(index, on); }); };
    const std::pair<std::string, std::string> linked = {"mrfi0.connections", "0xab0001 0 0 -1 0 0;0x0 0 0 -1 0 0"};
    return {
        {"thermal_state_get",
         "first_zone",
         known("thermal_state_get", 0),
         "0: 91000 60000 75000 85000 95000",
         zone(0, {0, 1, 2, 3}),
         {{"thermal.temp", "91000"}}},
        // Read in the order of the record: active, hot, very hot, critical.
        {"thermal_state_get",
         "second_zone",
         known("thermal_state_get", 1),
         "0: -5000 55000 80000 95000 105000",
         zone(1, {2, 1, 3, 0}),
         {{"thermal1.temp", "-5000"}}},
        {"mrfi_rssi_get", "first", known("mrfi_rssi_get", 0), "0: -57", {reading(mrfi(0, "rssi"))}},
        {"mrfi_rssi_get", "second", known("mrfi_rssi_get", 1), "0: -90", {reading(mrfi(1, "rssi"))}},
        {"mrfi_type_get", "first", known("mrfi_type_get", 0), "0: 3", {reading(mrfi(0, "type"))}},
        {"mrfi_type_get", "second", known("mrfi_type_get", 1), "0: 1", {reading(mrfi(1, "type"))}},
        {"mrfi_address_get", "first", known("mrfi_address_get", 0), "0: 4d 3c 2b 1a ", {reading(mrfi(0, "address"))}},
        {"mrfi_address_get", "second", known("mrfi_address_get", 1), "0: 1 0 ab 0 ", {reading(mrfi(1, "address"))}},
        {"mrfi_autolink_get",
         "off",
         known("mrfi_autolink_get", 0),
         "0: false",
         {reading(mrfi(0, "autolink"))},
         {{"mrfi0.autolink", "0"}}},
        {"mrfi_autolink_get",
         "on",
         known("mrfi_autolink_get", 1),
         "0: true",
         {reading(mrfi(1, "autolink"))},
         {{"mrfi1.autolink", "1"}}},
        {"mrfi_autolink_set", "on", autolink(0, 1), "0", {writing(mrfi(0, "autolink"), "1")}},
        {"mrfi_autolink_set", "off", autolink(1, 0), "0", {writing(mrfi(1, "autolink"), "0")}},
        {"mrfi_autolink_set", "other", autolink(0, 2), "0", {writing(mrfi(0, "autolink"), "1")}},
        {"mrfi_autolink_set", "low_bits_zero", autolink(0, 0x100), "0", {writing(mrfi(0, "autolink"), "0")}},
        {"mrfi_autolink_set", "low_bits_set", autolink(0, -1), "0", {writing(mrfi(0, "autolink"), "1")}},
        {"mrfi_link", "peer", with_address(mrfi_link, 0, peer), "0", {writing(mrfi(0, "link"), "0xab0001")}, {linked}},
        {"mrfi_link", "highest", with_address(mrfi_link, 1, highest), "0", {writing(mrfi(1, "link"), "0xffffffff")}},
        {"mrfi_link", "zero", with_address(mrfi_link, 1, zero), "0", {writing(mrfi(1, "link"), "0")}},
        {"mrfi_unlink",
         "peer",
         with_address(mrfi_unlink, 0, peer),
         "0",
         {writing(mrfi(0, "unlink"), "0xab0001")},
         {linked}},
        {"mrfi_unlink", "zero", with_address(mrfi_unlink, 0, zero), "0", {writing(mrfi(0, "unlink"), "0")}, {linked}},
    };
}

std::vector<Sequence> serial_pins() {
    const std::string invalid = "Invalid argument";
    return {
        {"serial_alt_func_has",
         "key",
         known("serial_alt_func_has", 0),
         "0: true",
         {reading(keys)},
         {{"keys.keys", "31,33,102,116"}}},
        {"serial_alt_func_has", "serial",
         [] {
             Out<bool> supported;
             return answer([&] { return serial_alt_func_has(0, SERIAL_ALT_FUNC_SERIAL, supported); }, supported);
         },
         "0: true"},
        {"serial_alt_func_has", "key_of_a_port_without", known("serial_alt_func_has", 1), "0: false"},
        {"serial_alt_func_set",
         "serial",
         switched(0, SERIAL_ALT_FUNC_SERIAL),
         "0",
         {reading(keys), reading(disabled_keys), writing(disabled_keys, "31,")},
         {{"keys.keys", "31,33,102,116"}, {"keys.disabled_keys", "31"}}},
        {"serial_alt_func_set",
         "key",
         switched(0, SERIAL_ALT_FUNC_KEY),
         "0",
         {reading(keys), reading(keys), reading(disabled_keys), writing(disabled_keys, "0,")},
         {{"keys.keys", "31,33,102,116"}, {"keys.disabled_keys", "31"}}},
        {"serial_alt_func_set", "listed_without_meaning", switched(1, 2), "0"},
        {"serial_alt_func_set", "not_listed", switched(0, 2), "-22 errno 22", {}, {}, invalid},
        {"serial_alt_func_set",
         "key_of_a_port_without",
         switched(1, SERIAL_ALT_FUNC_KEY),
         "-22 errno 22",
         {},
         {},
         invalid},
        {"serial_alt_func_set",
         "serial_of_a_port_without_key",
         switched(1, SERIAL_ALT_FUNC_SERIAL),
         "-22 errno 22",
         {reading(keys)},
         {{"keys.keys", "31,33,102,116"}},
         invalid},
        {"serial_alt_func_set",
         "key_that_the_driver_does_not_handle",
         switched(0, SERIAL_ALT_FUNC_KEY),
         "-22 errno 22",
         {reading(keys)},
         {{"keys.keys", "33,102,116"}},
         invalid},
        {"serial_alt_func_set",
         "serial_whose_key_the_driver_does_not_handle",
         switched(0, SERIAL_ALT_FUNC_SERIAL),
         "-22 errno 22",
         {reading(keys)},
         {{"keys.keys", "33,102,116"}},
         invalid},
    };
}

std::vector<Sequence> sequences() {
    std::vector<Sequence> all;
    for (const auto& some : {lights(), lines(), sensors_and_radios(), serial_pins()})
        all.insert(all.end(), some.begin(), some.end());
    return all;
}

// ---- Their recording -----------------------------------------------------------------------------------------------

Recording record(const Sequence& sequence, const Recorder& recorder) {
    return families::record(sequence.before, sequence.call, recorder);
}

int count(const Acts& acts, const std::string& act) {
    return static_cast<int>(
        std::ranges::count_if(acts, [&](const auto& each) { return each == act || each.starts_with(act + " "); }));
}

class Sequences : public testing::TestWithParam<Sequence> {
protected:
    void SetUp() override { VELMOR_NEEDS_RECORDER(); }
    void TearDown() override { give_lines_back(); }

    /** What is answered where an act fails with this errno: what is asked for is not stored. */
    static std::string told_of(int error) {
        const bool asks = GetParam().output.find(':') != std::string::npos;
        return "-1 errno " + std::to_string(error) + (asks ? ": untouched" : "");
    }
};

class FailingSequences : public Sequences {};

TEST_P(Sequences, AreTheseActs) {
    proves(GetParam().function, GetParam().cause.empty() ? Kind::good : Kind::bad_input);
    Acts expected;
    for (const Step& step : GetParam().steps) expected = in_order({expected, step.acts()});
    const Recording recording = record(GetParam(), {});
    EXPECT_EQ(recording.output, GetParam().output);
    EXPECT_EQ(recording.error_text, GetParam().cause.empty() ? "" : failed(GetParam().function, GetParam().cause));
    EXPECT_THAT(recording.acts, ElementsAreArray(expected));
}

// Every open, transfer and close in turn; and where something follows a failure, every part of that too. The first
// failure is the one that is reported, errno is the last one's.
TEST_P(FailingSequences, EndWithTheActThatFails) {
    proves(GetParam().function, Kind::bad_input);
    const Acts start = record(GetParam(), {}).start;
    give_lines_back();
    Acts before;
    for (const Step& step : GetParam().steps) {
        const auto nth = [&](const std::string& act) { return count(start, act) + count(before, act) + 1; };
        for (const Part part : parts) {
            const std::string act = act_of(step, part);
            const std::string line = failed(GetParam().function, text_of_failure(step, part));
            Acts expected = in_order({before, failing(step, part, EIO)});
            for (const Step& next : step.recovery) {
                for (const Part again : parts) {
                    const std::string second = act_of(next, again);
                    const Recording recording =
                        record(GetParam(), Recorder().fail(act, EIO, nth(act)).fail(second, ENOSPC, nth(second)));
                    give_lines_back();
                    EXPECT_EQ(recording.output, told_of(ENOSPC)) << act << ", " << second;
                    EXPECT_EQ(recording.error_text, line) << act << ", " << second;
                    EXPECT_THAT(recording.acts, ElementsAreArray(in_order({expected, failing(next, again, ENOSPC)})))
                        << act << ", " << second;
                }
                expected = in_order({expected, next.acts()});
            }
            const Recording recording = record(GetParam(), Recorder().fail(act, EIO, nth(act)));
            give_lines_back();
            EXPECT_EQ(recording.output, told_of(EIO)) << act;
            EXPECT_EQ(recording.error_text, line) << act;
            EXPECT_THAT(recording.acts, ElementsAreArray(expected)) << act;
        }
        before = in_order({before, step.acts()});
    }
}

std::vector<Sequence> sequences_that_act() {
    std::vector<Sequence> some = sequences();
    std::erase_if(some, [](const Sequence& each) { return each.steps.empty(); });
    return some;
}

std::string name_of(const testing::TestParamInfo<Sequence>& instance) {
    return instance.param.function + "_" + instance.param.what;
}

INSTANTIATE_TEST_SUITE_P(Functions, Sequences, testing::ValuesIn(sequences()), name_of);
INSTANTIATE_TEST_SUITE_P(Functions, FailingSequences, testing::ValuesIn(sequences_that_act()), name_of);

}  // namespace
