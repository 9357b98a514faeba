// SPDX-License-Identifier: MIT
// What the library does to the device, as the virtual device records it: the start, every function, and every function
// with each of its acts failing.

#include <gmock/gmock.h>
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "families/calls.h"
#include "families/virtual_device.h"
#include "record/trace.h"
#include "support/acts.h"
#include "support/calls.h"
#include "support/exported_functions.h"
#include "support/files.h"
#include "support/matchers.h"
#include "support/scenario.h"
#include "velmor.h"

using record::Target;
using record::target_of;
using record::Trace;
using testing::Each;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::Not;
using namespace families;
using namespace testing_support;

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

/** Each of these files opened, read once and closed. */
Acts reads(const std::vector<std::string>& paths) {
    Acts acts;
    for (const std::string& path : paths) acts = in_order({acts, read_acts(path)});
    return acts;
}

// ---- The acts ------------------------------------------------------------------------------------------------------

/** The hardware table, the backlight's range, the beeper's channel, and the kinds of the trip points. */
const Acts start = in_order(
    {reads({platform + "pht_version", platform + "pht", backlight + "max_brightness", pwm + "period", pwm + "duty"}),
     write_acts(pwm + "period", "370370"), reads({pwm + "period"}), write_acts(pwm + "duty", "185185"),
     reads({zone + "trip_point_0_type", zone + "trip_point_1_type", zone + "trip_point_2_type",
            zone + "trip_point_3_type"})});

/** The build date and the version of this software. */
Acts version_records(const std::string& software) {
    const std::string date = platform + software + "_date_";
    const std::string version = platform + software + "_version_";
    return reads({date + "day", date + "month", date + "year", version + "major", version + "minor",
                  version + "revision", version + "status", version + "build", version + "development"});
}

/** The acts of each function after the start, called as in families/calls.cpp. The other functions have none. */
const std::map<std::string, Acts> acts_of_functions = {
    {"backlight_set", write_acts(backlight + "brightness", "7")},
    {"backlight_get", reads({backlight + "brightness"})},
    {"display_set", write_acts(blank, "0")},
    {"display_get", reads({blank})},
    {"io_set", write_acts(pwm + "status", "1")},
    {"io_get", reads({pwm + "status"})},
    // The running channel is silenced before its period changes.
    {"io_config_set",
     in_order({reads({pwm + "period", pwm + "duty", pwm + "period"}), write_acts(pwm + "duty", "0"),
               write_acts(pwm + "period", "1000000"), reads({pwm + "period"}), write_acts(pwm + "duty", "250000")})},
    {"io_config_get", reads({pwm + "period", pwm + "period", pwm + "duty"})},
    {"thermal_state_get", reads({zone + "temp", zone + "trip_point_0_temp", zone + "trip_point_1_temp",
                                 zone + "trip_point_2_temp", zone + "trip_point_3_temp"})},
    {"power_shutdown", {"restart wdt = EPERM"}},
    {"power_suspend", write_acts(power_state, "mem")},
    {"watchdog_enable", {"open " + watchdog + " w", set_timeout}},
    {"platform_info_get",
     in_order({version_records("boot"), version_records("splash"), version_records("os"),
               reads({fs_version, platform + "serial_number", platform + "compatibility_version"})})},
};

/** The acts of the start and of this function. */
Acts all_acts_of(const std::string& function) {
    const auto found = acts_of_functions.find(function);
    return found == acts_of_functions.end() ? start : in_order({start, found->second});
}

class OnTheDevice : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(in_namespaces_of_its_own()) << "HAZARD: run this through tests/record/run";
        // A program that succeeds and the restart call end the unit, and the tests with it.
        set_hardware("reboot.exit=5");
        reset();
    }
    void TearDown() override {
        hardware({"clear"});
        if (hardware({"get", "watchdog.running"}) == "0") return;
        disarm_watchdog();
        Trace().acts();  // waits until this close is recorded, which the next test must not see
    }

    /** Reset the values that these tests change, and let the kernel refuse the restart. */
    static void reset() {
        hardware({"clear"});
        hardware({"fault", "restart:call:EPERM"});
        set_hardware("backlight.brightness=4, display.blank=0, pwm1.duty=0, pwm1.period=1000000, pwm1.status=0");
    }
};

const Scenario query_twice = in_turn({query_es, query_es});

TEST_F(OnTheDevice, StartMakesExactlyTheseActs) {
    const Trace trace;
    EXPECT_THAT(run_in_child(query_twice), returns({succeeds("true"), succeeds("true")}));
    EXPECT_THAT(trace.acts(), ElementsAreArray(start));
}

class Function : public OnTheDevice, public testing::WithParamInterface<std::string> {
protected:
    static std::string start_and_call() { return query_es(), call_of(GetParam())(); }
};

TEST_P(Function, MakesExactlyTheseActs) {
    const Trace trace;
    run_in_child(start_and_call);
    Acts expected = all_acts_of(GetParam());
    if (GetParam() == "watchdog_enable") expected.push_back("close " + watchdog);  // by the end of the process
    EXPECT_THAT(trace.acts(), ElementsAreArray(expected));
}

struct Failure {
    CallResult result;
    std::string cause;  // of the failure line; empty if the failure is forgiven
};

/** The result of a call that otherwise succeeds like this, if its act of this kind on this file fails with EIO. */
Failure failure(const CallResult& good, const Target& target) {
    const bool forgiven = target.path == power_state || target.path == platform + "serial_number" ||
                          (target.path == watchdog && target.kind == "close");
    if (forgiven) return {success_that_leaves(EIO, good.value), ""};
    if (target.path == watchdog) return {fails_with(EIO), "Input/output error"};
    return {good.failing(-1, EIO), target.kind == "read" ? read_failure : stream_failure};
}

/** The fault that hits this act of a sequence: the nth of its kind on its file. */
std::string fault_of(const Acts& acts, std::size_t act) {
    const Target target = target_of(acts[act]);
    const auto nth = std::count_if(acts.begin(), acts.begin() + static_cast<std::ptrdiff_t>(act) + 1,
                                   [&](const std::string& each) { return target_of(each) == target; });
    return target.path + ":" + target.kind + ":EIO:" + std::to_string(nth);
}

TEST_P(Function, EachOfItsActsMayFail) {
    const std::string output = run_in_child(start_and_call).output;
    const CallResult good = succeeds(output.starts_with("0: ") ? output.substr(3) : "");
    const Acts acts = all_acts_of(GetParam());
    for (std::size_t i = start.size(); i < acts.size(); ++i) {
        const Target target = target_of(acts[i]);
        if (target.kind == "restart") continue;  // is refused in any case
        reset();
        const Fault fault(fault_of(acts, i));
        const auto [result, cause] = failure(good, target);
        EXPECT_THAT(run_in_child(start_and_call), returns(result, cause.empty() ? "" : failed(GetParam(), cause)))
            << acts[i];
    }
}

INSTANTIATE_TEST_SUITE_P(Of, Function, testing::ValuesIn(exported_functions()),
                         [](const auto& instance) { return instance.param; });

// Without the kind of a trip point the board starts all the same. After any other failure the next call starts it.
TEST_F(OnTheDevice, EachActOfTheStartMayFail) {
    for (std::size_t i = 0; i < start.size(); ++i) {
        const Target target = target_of(start[i]);
        reset();
        const Fault fault(fault_of(start, i));
        auto [result, cause] = failure(succeeds("true"), target);
        const bool is_forgiven = target.path.starts_with(zone);
        if (is_forgiven) result = success_that_leaves(EIO, "true");
        EXPECT_THAT(run_in_child(query_twice),
                    returns({result, succeeds("true")}, is_forgiven ? "" : start_failed("es_present", cause)))
            << start[i];
    }
}

bool is_query(const std::string& function) {
    return std::ranges::any_of(std::vector<std::string>{"_get", "_present", "_has", "_open", "_read", "_close"},
                               [&](const std::string& end) { return function.ends_with(end); });
}

TEST_F(OnTheDevice, QueriesOpenNothingForWriting) {
    const Trace trace;
    run_in_child([] {
        query_es();
        for (const auto& [function, call] : calls())
            if (is_query(function)) call(0);
        return std::string();
    });
    Acts acts = trace.acts();
    ASSERT_GT(acts.size(), start.size());
    acts.erase(acts.begin(), acts.begin() + static_cast<std::ptrdiff_t>(start.size()));
    EXPECT_THAT(acts, Each(Not(EndsWith(" w"))));
}

// ---- Sequences of calls --------------------------------------------------------------------------------------------

TEST_F(OnTheDevice, WatchdogIsArmedFedArmedAgainAndDisarmed) {
    const Trace trace;
    const ChildResult child = run_in_child(in_turn({query_es, call(watchdog_enable, 30), call(watchdog_refresh),
                                                    call(watchdog_enable, 60), call(watchdog_disable)}));
    EXPECT_THAT(child, returns({succeeds("true"), succeeds(), succeeds(), succeeds(), succeeds()}));
    const Acts arm = {"open " + watchdog + " w", set_timeout};
    const Acts disarm = {"write " + watchdog + " V", "close " + watchdog};
    EXPECT_THAT(trace.acts(), ElementsAreArray(in_order({start, arm, {keep_alive}, disarm, arm, disarm})));
    EXPECT_EQ(hardware({"get", "watchdog.running"}), "0");
}

TEST_F(OnTheDevice, LinesOfTheGpsAndTheEchosounder) {
    const Trace trace;
    const ChildResult child =
        run_in_child(in_turn({call(io_set, 9, 1), call(io_get, 9), call(io_set, 11, 1), call(io_get, 11)}));
    EXPECT_THAT(child, returns({succeeds(), succeeds("1"), succeeds(), succeeds("1")}));
    EXPECT_THAT(trace.acts(),
                ElementsAreArray(in_order({start, write_acts(gps_enable, "1"), reads({gps_enable}),
                                           write_acts(echosounder_reset, "1"), reads({echosounder_reset})})));
    set_hardware("echosounder.reset=0");
}

TEST_F(OnTheDevice, RefusedRestartAndFailingProgramAreReported) {
    EXPECT_THAT(run_in_child(call_of("power_shutdown")),
                returns(fails_with(EPERM), failed("power_shutdown", "Operation not permitted")));
    EXPECT_THAT(run_in_child(call_of("power_reboot")),
                returns(fails_with(EIO), failed("power_reboot", "Input/output error")));
}

// The restart has ended a run of its own: see tests/record/run.
TEST_F(OnTheDevice, ShutdownRestartsTheUnit) {
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_SHUTDOWN"), "status 121, 1 restart with wdt");
}

}  // namespace
