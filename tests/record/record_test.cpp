// SPDX-License-Identifier: MIT
// What the library does to the device, as the virtual device has seen it: the start-up, every function, and
// every function with each of its acts failing.

#include <gmock/gmock.h>
#include <algorithm>
#include <cerrno>
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
#include "support/acts.h"
#include "support/exported_functions.h"
#include "support/files.h"
#include "support/scenario.h"
#include "velmor.h"

using families::call_of;
using families::calls;
using families::Fault;
using families::hardware;
using record::Target;
using record::target_of;
using record::Trace;
using testing::ElementsAreArray;
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

/** A value read: each of these files is opened, read once and closed. */
Acts reads(std::initializer_list<std::string> paths) {
    Acts acts;
    for (const std::string& path : paths) acts = in_order({acts, read_acts(path)});
    return acts;
}

// ---- The acts
// -----------------------------------------------------------------------------------------------------------

std::string start_board() {
    return call_of("es_present")();
}

/** The hardware table, the backlight's range, the beeper's programme, and the kinds of the trip points. */
Acts start() {
    return in_order({reads({platform + "pht_version", platform + "pht", backlight + "max_brightness", pwm + "period",
                            pwm + "duty"}),
                     write_acts(pwm + "period", "370370"), reads({pwm + "period"}), write_acts(pwm + "duty", "185185"),
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
        {"backlight_set", write_acts(backlight + "brightness", "7")},
        {"backlight_get", reads({backlight + "brightness"})},
        {"display_set", write_acts(blank, "0")},
        {"display_get", reads({blank})},
        {"io_set", write_acts(pwm + "status", "1")},
        {"io_get", reads({pwm + "status"})},
        // The running channel is silenced before its period changes.
        {"io_config_set", in_order({reads({pwm + "period", pwm + "duty", pwm + "period"}),
                                    write_acts(pwm + "duty", "0"), write_acts(pwm + "period", "1000000"),
                                    reads({pwm + "period"}), write_acts(pwm + "duty", "250000")})},
        {"io_config_get", reads({pwm + "period", pwm + "period", pwm + "duty"})},
        {"thermal_state_get", reads({zone + "temp", zone + "trip_point_0_temp", zone + "trip_point_1_temp",
                                     zone + "trip_point_2_temp", zone + "trip_point_3_temp"})},
        {"power_shutdown", {"restart wdt = EPERM"}},
        {"power_suspend", write_acts(power_state, "mem")},
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
        ASSERT_TRUE(in_namespaces_of_its_own()) << "HAZARD: run this through tests/record/run";
        // The programs and the restart call end the unit, and the tests with it.
        hardware({"set", "reboot.exit", "5"});
        reset();
    }
    void TearDown() override {
        hardware({"clear"});
        if (hardware({"get", "watchdog.running"}) == "0") return;
        families::disarm_watchdog();
        Trace().acts();  // waits until this close is recorded, which the next test must not see
    }

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

TEST_F(OnTheDevice, StartMakesExactlyTheseActs) {
    const Trace trace;
    const ChildResult child = run_in_child([] { return joined({start_board(), start_board()}); });
    EXPECT_EQ(child.output, joined({succeeds("true"), succeeds("true")}));
    EXPECT_THAT(trace.acts(), ElementsAreArray(start()));
}

class Function : public OnTheDevice, public testing::WithParamInterface<std::string> {
protected:
    /** Start the board and make the call. */
    static std::string scenario() { return start_board(), call_of(GetParam())(); }
};

TEST_P(Function, MakesExactlyTheseActs) {
    const Trace trace;
    run_in_child(scenario);
    Acts expected = in_order({start(), acts_of(GetParam())});
    // What the process has open when it ends, the kernel closes.
    if (GetParam() == "watchdog_enable") expected.push_back("close " + watchdog);
    EXPECT_THAT(trace.acts(), ElementsAreArray(expected));
}

struct Failure {
    CallResult result;
    std::string cause;  // of the failure line; none where the failure is forgiven
};

/** What becomes of a call that succeeds like this, when its act of this kind on this file fails with EIO. */
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
    const std::string output = run_in_child(scenario).output;
    const CallResult good = succeeds(output.starts_with("0: ") ? output.substr(3) : "");
    const Acts acts = in_order({start(), acts_of(GetParam())});
    for (std::size_t i = start().size(); i < acts.size(); ++i) {
        const Target target = target_of(acts[i]);
        if (target.kind == "restart") continue;  // is refused in any case
        reset();
        const Fault fault(fault_of(acts, i));
        const ChildResult child = run_in_child(scenario);
        const auto [result, cause] = failure(good, target);
        EXPECT_EQ(child.output, result) << acts[i];
        EXPECT_EQ(child.error_text, cause.empty() ? "" : failed(GetParam(), cause)) << acts[i];
    }
}

INSTANTIATE_TEST_SUITE_P(Of, Function, testing::ValuesIn(testing_support::exported_functions()),
                         [](const auto& instance) { return instance.param; });

TEST_F(OnTheDevice, EachActOfTheStartMayFail) {
    const Acts acts = start();
    for (std::size_t i = 0; i < acts.size(); ++i) {
        const Target target = target_of(acts[i]);
        reset();
        const Fault fault(fault_of(acts, i));
        const ChildResult child = run_in_child([] { return joined({start_board(), start_board()}); });
        if (target.path.starts_with(zone)) {
            EXPECT_EQ(child.output, joined({success_that_leaves(EIO, "true"), succeeds("true")})) << acts[i];
            EXPECT_EQ(child.error_text, "") << acts[i];
            continue;
        }
        // The next call starts the board.
        const auto [result, cause] = failure(succeeds("true"), target);
        EXPECT_EQ(child.output, joined({result, succeeds("true")})) << acts[i];
        EXPECT_EQ(child.error_text,
                  "cannot set board resources: " + cause + "\n" + failed("es_present", "cannot initialize board data"))
            << acts[i];
    }
}

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
        return joined({start_board(), call_of("watchdog_enable")(), call_of("watchdog_refresh")(),
                       call_of("watchdog_disable")()});
    });
    EXPECT_EQ(child.output, joined({succeeds("true"), succeeds(), succeeds(), succeeds()}));
    EXPECT_THAT(trace.acts(), ElementsAreArray(in_order({start(),
                                                         {"open " + watchdog + " w", set_timeout, keep_alive,
                                                          "write " + watchdog + " V", "close " + watchdog}})));
    EXPECT_EQ(hardware({"get", "watchdog.running"}), "0");
}

TEST_F(OnTheDevice, LinesOfTheGpsAndTheEchosounder) {
    const Trace trace;
    const ChildResult child = run_in_child([] {
        return joined(
            {call_of("io_set", 9)(), call_of("io_get", 9)(), call_of("io_set", 11)(), call_of("io_get", 11)()});
    });
    EXPECT_EQ(child.output, joined({succeeds(), succeeds("1"), succeeds(), succeeds("1")}));
    EXPECT_THAT(trace.acts(),
                ElementsAreArray(in_order({start(), write_acts(gps_enable, "1"), reads({gps_enable}),
                                           write_acts(echosounder_reset, "1"), reads({echosounder_reset})})));
    hardware({"set", "echosounder.reset", "0"});
}

TEST_F(OnTheDevice, RefusedRestartAndFailingProgramAreReported) {
    const ChildResult child = run_in_child([] {
        return joined({call_of("power_shutdown")(), call_of("power_reboot")()});
    });
    EXPECT_EQ(child.output, joined({fails_with(EPERM), fails_with(EIO)}));
    EXPECT_EQ(child.error_text,
              failed("power_shutdown", "Operation not permitted") + failed("power_reboot", "Input/output error"));
}

// The restart itself is caught by the virtual device, whose run it ends.
TEST_F(OnTheDevice, ShutdownRestartsTheUnit) {
    EXPECT_STREQ(std::getenv("VELMOR_ENDED_BY_SHUTDOWN"), "status 121, 1 restart with wdt");
}

}  // namespace
