// SPDX-License-Identifier: MIT
// What the library asks of the device's kernel, as the virtual device has seen it: the start-up, every function, and
// every function with each of its acts failing.

#include <gmock/gmock.h>
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "families/calls.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "record/trace.h"
#include "support/files.h"
#include "support/scenario.h"
#include "velmor.h"

using families::calls;
using families::Fault;
using families::hardware;
using record::Acts;
using record::Target;
using record::target_of;
using record::Trace;
using testing::ElementsAreArray;
using testing_support::ChildResult;
using testing_support::joined;
using testing_support::run_in_child;
using testing_support::stream_failure;

namespace {

const std::string backlight = "/sys/class/backlight/pwm-backlight.0/";
const std::string pwm = "/sys/devices/platform/mxc_pwm.1/";
const std::string blank = "/sys/class/graphics/fb0/blank";
const std::string zone = "/sys/class/thermal/thermal_zone0/";
const std::string echosounder_reset = "/sys/devices/platform/echosounder.0/reset";
const std::string gps_enable = "/sys/devices/platform/gps.0/enable";
const std::string platform = "/proc/platform/";
const std::string fs_version = "/etc/fs_version";
const std::string power_state = "/sys/power/state";
const std::string watchdog = "/dev/watchdog";
const std::string set_timeout = "ioctl /dev/watchdog 0xc0045706";
const std::string keep_alive = "ioctl /dev/watchdog 0x80045705";

/** A value read: each of these files is opened, read once and closed. */
Acts reads(std::initializer_list<std::string> paths) {
    Acts acts;
    for (const std::string& path : paths)
        acts.insert(acts.end(), {"open " + path + " r", "read " + path, "close " + path});
    return acts;
}

Acts writes(const std::string& path, const std::string& bytes) {
    return {"open " + path + " w", "write " + path + " " + bytes, "close " + path};
}

Acts in_order(std::initializer_list<Acts> parts) {
    Acts all;
    for (const Acts& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

// ---- What is asked of the kernel -----------------------------------------------------------------------------------

std::string start_board() {
    return calls().at("es_present")(0);
}

/** The hardware table, the backlight's range, the beeper's programme, and the kinds of the trip points. */
Acts start() {
    return in_order({reads({platform + "pht_version", platform + "pht", backlight + "max_brightness", pwm + "period",
                            pwm + "duty"}),
                     writes(pwm + "period", "370370"), reads({pwm + "period"}), writes(pwm + "duty", "185185"),
                     reads({zone + "trip_point_0_type", zone + "trip_point_1_type", zone + "trip_point_2_type",
                            zone + "trip_point_3_type"})});
}

/** One piece of software's build date and version. */
Acts version_records(const std::string& software) {
    const std::string date = platform + software + "_date_";
    const std::string version = platform + software + "_version_";
    return reads({date + "day", date + "month", date + "year", version + "major", version + "minor",
                  version + "revision", version + "status", version + "build", version + "development"});
}

/** The acts of each function after the start, called as in families/calls.cpp; the others have none. */
const std::map<std::string, Acts>& acts_of_functions() {
    static const std::map<std::string, Acts> acts = {
        {"backlight_set", writes(backlight + "brightness", "7")},
        {"backlight_get", reads({backlight + "brightness"})},
        {"display_set", writes(blank, "0")},
        {"display_get", reads({blank})},
        {"io_set", writes(pwm + "status", "1")},
        {"io_get", reads({pwm + "status"})},
        // The running channel is silenced before its period changes.
        {"io_config_set",
         in_order({reads({pwm + "period", pwm + "duty", pwm + "period"}), writes(pwm + "duty", "0"),
                   writes(pwm + "period", "1000000"), reads({pwm + "period"}), writes(pwm + "duty", "250000")})},
        {"io_config_get", reads({pwm + "period", pwm + "period", pwm + "duty"})},
        {"thermal_state_get", reads({zone + "temp", zone + "trip_point_0_temp", zone + "trip_point_1_temp",
                                     zone + "trip_point_2_temp", zone + "trip_point_3_temp"})},
        {"power_shutdown", {"restart wdt = EPERM"}},
        {"power_suspend", writes(power_state, "mem")},
        {"watchdog_enable", {"open " + watchdog + " w", set_timeout}},
        {
            "platform_info_get",
            in_order({version_records("boot"), version_records("splash"), version_records("os"),
                      reads({fs_version, platform + "serial_number", platform + "compatibility_version"})}),
        },
    };
    return acts;
}

Acts acts_of(const std::string& function) {
    const auto found = acts_of_functions().find(function);
    return found == acts_of_functions().end() ? Acts() : found->second;
}

class OnTheDevice : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing_support::in_namespaces_of_its_own()) << "HAZARD: run this through tests/record/run";
        // The programs and the restart call end the unit, and the tests with it.
        hardware({"set", "reboot.exit", "5"});
        reset();
    }
    void TearDown() override { hardware({"clear"}); }

    /** The values that these tests change are as in the beginning, and the kernel refuses the restart. */
    static void reset() {
        hardware({"clear"});
        hardware({"fault", "restart:call:EPERM"});
        for (const auto& [name, value] : std::map<std::string, std::string>{{"backlight.brightness", "4"},
                                                                            {"display.blank", "0"},
                                                                            {"pwm1.period", "1000000"},
                                                                            {"pwm1.duty", "0"},
                                                                            {"pwm1.status", "0"}})
            hardware({"set", name, value});
    }
};

TEST_F(OnTheDevice, StartAsksExactlyThis) {
    const Trace trace;
    const ChildResult child = run_in_child([] { return joined({start_board(), start_board()}); });
    EXPECT_EQ(child.output, "0: true, 0: true");
    EXPECT_THAT(trace.acts(), ElementsAreArray(start()));
}

class Function : public OnTheDevice, public testing::WithParamInterface<std::string> {
protected:
    static std::string call() { return calls().at(GetParam())(0); }
};

TEST_P(Function, AsksExactlyThisAndTouchesNothingElse) {
    const Trace trace;
    run_in_child([] { return start_board(), call(); });
    Acts expected = in_order({start(), acts_of(GetParam())});
    // What the process has open when it ends, the kernel closes.
    if (GetParam() == "watchdog_enable") expected.push_back("close " + watchdog);
    EXPECT_THAT(trace.acts(), ElementsAreArray(expected));
}

/** How a call answers whose act of this kind on this file fails with EIO. */
struct Answer {
    std::string output;
    std::string cause;  // of the failure line; none where the failure is forgiven
};

Answer failure(const std::string& good, const Target& target) {
    if (target.path == power_state || target.path == platform + "serial_number") return {good + " errno 5", ""};
    if (target.path == watchdog && target.kind == "close") return {good + " errno 5", ""};
    if (target.path == watchdog) return {"-5 errno 5", "Input/output error"};
    const std::string untouched = good.find(':') == std::string::npos ? "" : ": untouched";
    return {"-1 errno 5" + untouched, target.kind == "read"
                                          ? "basic_filebuf::underflow error reading the file: Input/output error"
                                          : stream_failure};
}

/** The fault that hits this act of a sequence: the nth of its kind on its file. */
std::string fault_of(const Acts& acts, std::size_t act) {
    const Target target = target_of(acts[act]);
    const auto nth = std::count_if(acts.begin(), acts.begin() + static_cast<std::ptrdiff_t>(act) + 1,
                                   [&](const std::string& each) { return target_of(each) == target; });
    return target.path + ":" + target.kind + ":EIO:" + std::to_string(nth);
}

TEST_P(Function, EachOfItsActsMayFail) {
    const std::string good = run_in_child([] { return start_board(), call(); }).output;
    const Acts acts = in_order({start(), acts_of(GetParam())});
    for (std::size_t i = start().size(); i < acts.size(); ++i) {
        const Target target = target_of(acts[i]);
        if (target.kind == "restart") continue;  // is refused in any case
        reset();
        const Fault fault(fault_of(acts, i));
        const ChildResult child = run_in_child([] { return start_board(), call(); });
        const auto [output, cause] = failure(good, target);
        EXPECT_EQ(child.output, output) << acts[i];
        EXPECT_EQ(child.error_text, cause.empty() ? "" : GetParam() + " failed: " + cause + "\n") << acts[i];
    }
}

INSTANTIATE_TEST_SUITE_P(Of, Function, testing::ValuesIn(families::exported_functions()),
                         [](const auto& instance) { return instance.param; });

TEST_F(OnTheDevice, EachActOfTheStartMayFail) {
    const Acts acts = start();
    for (std::size_t i = 0; i < acts.size(); ++i) {
        const Target target = target_of(acts[i]);
        reset();
        const Fault fault(fault_of(acts, i));
        const ChildResult child = run_in_child([] { return joined({start_board(), start_board()}); });
        if (target.path.starts_with(zone)) {
            EXPECT_EQ(child.output, "0 errno 5: true, 0: true") << acts[i];
            EXPECT_EQ(child.error_text, "") << acts[i];
            continue;
        }
        // The next call starts the board.
        const auto [output, cause] = failure("0: true", target);
        EXPECT_EQ(child.output, output + ", 0: true") << acts[i];
        EXPECT_EQ(child.error_text,
                  "cannot set board resources: " + cause + "\nes_present failed: cannot initialize board data\n")
            << acts[i];
    }
}

/** It asks, and sets nothing. */
bool is_query(const std::string& function) {
    return std::ranges::any_of(std::vector<std::string>{"_get", "_present", "_has", "_open", "_read", "_close"},
                               [&](const std::string& end) { return function.ends_with(end); });
}

TEST_F(OnTheDevice, QueriesOpenNothingForWriting) {
    const Trace trace;
    run_in_child([] {
        start_board();
        for (const auto& [function, call] : calls())
            if (is_query(function)) call(0);
        return std::string();
    });
    const Acts acts = trace.acts();
    ASSERT_GT(acts.size(), start().size());
    for (std::size_t i = start().size(); i < acts.size(); ++i)
        EXPECT_THAT(acts[i], testing::Not(testing::EndsWith(" w")));
}

// ---- Sequences of calls --------------------------------------------------------------------------------------------

TEST_F(OnTheDevice, WatchdogIsArmedFedAndDisarmed) {
    const Trace trace;
    const ChildResult child = run_in_child([] {
        return joined({start_board(), calls().at("watchdog_enable")(0), calls().at("watchdog_refresh")(0),
                       calls().at("watchdog_disable")(0)});
    });
    EXPECT_EQ(child.output, "0: true, 0, 0, 0");
    EXPECT_THAT(trace.acts(), ElementsAreArray(in_order({start(),
                                                         {"open " + watchdog + " w", set_timeout, keep_alive,
                                                          "write " + watchdog + " V", "close " + watchdog}})));
    EXPECT_EQ(hardware({"get", "watchdog.running"}), "0");
}

TEST_F(OnTheDevice, LinesOfTheGpsAndTheEchosounder) {
    const Trace trace;
    const ChildResult child = run_in_child([] {
        return joined(
            {calls().at("io_set")(9), calls().at("io_get")(9), calls().at("io_set")(11), calls().at("io_get")(11)});
    });
    EXPECT_EQ(child.output, "0, 0: 1, 0, 0: 1");
    EXPECT_THAT(trace.acts(), ElementsAreArray(in_order({start(), writes(gps_enable, "1"), reads({gps_enable}),
                                                         writes(echosounder_reset, "1"), reads({echosounder_reset})})));
    hardware({"set", "echosounder.reset", "0"});
}

TEST_F(OnTheDevice, RefusedRestartAndFailingProgramAreAnswered) {
    const ChildResult child = run_in_child([] {
        return joined({calls().at("power_shutdown")(0), calls().at("power_reboot")(0)});
    });
    EXPECT_EQ(child.output, "-1 errno 1, -5 errno 5");
    EXPECT_EQ(child.error_text,
              "power_shutdown failed: Operation not permitted\n"
              "power_reboot failed: Input/output error\n");
}

// The restart itself is caught by the virtual device, whose run it ends.
TEST_F(OnTheDevice, ShutdownRestartsTheUnit) {
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_SHUTDOWN"), "status 121, 1 restart with wdt");
}

}  // namespace
