// SPDX-License-Identifier: MIT
// Texts of attributes that no sound driver shows, and the acts of the plain power resource.

#include <gmock/gmock.h>
#include <cerrno>
#include <string>

#include "families/calls.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/acts.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using families::hardware;
using families::Kind;
using families::proves;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing_support::answer;
using testing_support::ChildResult;
using testing_support::failed;
using testing_support::Recorder;
using testing_support::run_in_child;
using testing_support::stream_failure;

namespace {

struct Text {
    std::string function;
    int index;
    std::string value;  // of the hardware
    std::string text;   // that its attribute shows
    std::string output;
};

class Texts : public testing::TestWithParam<Text> {};

TEST_P(Texts, AreReadOrAreAStreamFailure) {
    const Text& row = GetParam();
    const bool good = row.output.starts_with("0");
    proves(row.function, good ? Kind::good : Kind::bad_input);
    const std::string before = hardware({"get", row.value});
    hardware({"raw", row.value, row.text});
    const ChildResult child = run_in_child([&] { return families::calls().at(row.function)(row.index); });
    hardware({"set", row.value, before});
    EXPECT_EQ(child.output, row.output);
    EXPECT_EQ(child.error_text, good ? "" : failed(row.function, stream_failure));
}

constexpr char no_value[] = "-1: untouched";

INSTANTIATE_TEST_SUITE_P(
    Functions, Texts,
    testing::Values(Text{"backlight_get", 0, "backlight.brightness", "0\\n", "0: 0"},
                    Text{"backlight_get", 0, "backlight.brightness", "-3\\n", "0: 0"},
                    Text{"backlight_get", 0, "backlight.brightness", " 4 of 7\\n", "0: 128"},
                    Text{"backlight_get", 0, "backlight.brightness", "9\\n", "0: 340"},  // it is not clamped
                    Text{"backlight_get", 0, "backlight.brightness", "", no_value},
                    Text{"backlight_get", 0, "backlight.brightness", "2147483648\\n", no_value},
                    Text{"backlight_get", 1, "pwm2.status", "2\\n", "0: 127"},  // all but 0 is running
                    Text{"backlight_get", 1, "pwm2.status", "on\\n", no_value},
                    Text{"display_get", 0, "display.blank", "2", "0: true"},
                    Text{"display_get", 0, "display.blank", "-1\\n", "0: true"},
                    Text{"display_get", 0, "display.blank", "\\n", no_value},
                    Text{"led_color_get", 0, "keypad.color", "-1 256 3 4\\n", "0: -1 256 3"},  // it is not checked
                    Text{"led_color_get", 0, "keypad.color", "1 2\\n", no_value},
                    Text{"led_color_get", 0, "keypad.color", "1 2 red\\n", no_value},
                    Text{"io_get", 11, "echosounder.reset", "-5\\n", "0: -5"},
                    Text{"io_get", 11, "echosounder.reset", "low\\n", no_value},
                    Text{"io_get", 0, "pwm1.status", "2\\n", "0: 0"},  // only 1 is on
                    Text{"io_get", 0, "pwm1.status", "\\n", no_value},
                    Text{"thermal_state_get", 0, "thermal.temp", "45000", "0: 45000 60000 75000 85000 95000"},
                    Text{"thermal_state_get", 0, "thermal.temp", "hot\\n", no_value}),
    [](const auto& instance) { return instance.param.function + "_" + std::to_string(instance.index); });

// A start-up programs the period anew: it is changed behind it.
TEST(PwmTexts, PeriodOfZeroHasNeitherFrequencyNorDuty) {
    proves("io_config_get", Kind::bad_input);
    const ChildResult child = run_in_child([] {
        families::calls().at("es_present")(0);
        hardware({"raw", "pwm1.period", "0\\n"});
        return families::calls().at("io_config_get")(0);
    });
    EXPECT_EQ(child.output, "0: 0 Hz 0 %");
    EXPECT_EQ(child.error_text, "");
}

TEST(SysFSIO, LevelIsPassedOnUnchecked) {
    VELMOR_NEEDS_RECORDER();
    proves("io_set", Kind::bad_input);
    const ChildResult child = run_in_child(Recorder().watch({"/sys/devices/platform/gps.0/"}),
                                           [] { return answer([] { return io_set(9, 5); }); });
    EXPECT_EQ(child.output, "-1 errno 22");
    const std::string enable = "/sys/devices/platform/gps.0/enable";
    EXPECT_THAT(child.acts, ElementsAre("open " + enable + " w", "write " + enable + " 5 = EINVAL", "close " + enable));
}

// ---- Power ---------------------------------------------------------------------------------------------------------

class Acts : public testing::Test {
protected:
    void SetUp() override { VELMOR_NEEDS_RECORDER(); }
};

TEST_F(Acts, ShutdownRunsThePowerOffProgramAndReturnsItsExitCode) {
    proves("power_shutdown", Kind::bad_input);
    hardware({"set", "poweroff.exit", "3"});
    const ChildResult child =
        run_in_child(Recorder().watch({"/sbin/"}), [] { return answer([] { return power_shutdown(); }); });
    EXPECT_EQ(child.output, "-3 errno 3");
    EXPECT_EQ(child.error_text, "power_shutdown failed: No such process\n");
    // The program's shell opens it as its script.
    ASSERT_FALSE(child.acts.empty());
    EXPECT_EQ(child.acts.front(), "exec /sbin/poweroff");
    for (const std::string& act : child.acts) EXPECT_NE(act, "sync");
}

TEST_F(Acts, ShutdownWhoseProgramCannotBeStartedIsItsExecsErrno) {
    proves("power_shutdown", Kind::bad_input);
    const ChildResult child = run_in_child(Recorder().watch({"/sbin/"}).fail("exec /sbin/poweroff", ENOENT),
                                           [] { return answer([] { return power_shutdown(); }); });
    EXPECT_EQ(child.output, "-2 errno 2");
    EXPECT_EQ(child.error_text, "power_shutdown failed: No such file or directory\n");
    EXPECT_THAT(child.acts, ElementsAre("exec /sbin/poweroff = ENOENT"));
}

TEST_F(Acts, RebootWhoseProgramCannotBeStartedIsItsExecsErrno) {
    proves("power_reboot", Kind::bad_input);
    const ChildResult child = run_in_child(Recorder().watch({"/sbin/"}).fail("exec /sbin/reboot", EACCES),
                                           [] { return answer([] { return power_reboot(); }); });
    EXPECT_EQ(child.output, "-13 errno 13");
    EXPECT_THAT(child.acts, ElementsAre("exec /sbin/reboot = EACCES"));
}

TEST_F(Acts, SuspendIsOneWriteOfMem) {
    proves("power_suspend", Kind::good);
    const ChildResult child =
        run_in_child(Recorder().watch({"/sys/power/"}), [] { return answer([] { return power_suspend(); }); });
    EXPECT_EQ(child.output, "0");
    EXPECT_THAT(child.acts, ElementsAreArray(testing_support::write_acts("/sys/power/state", "mem")));
}

}  // namespace
