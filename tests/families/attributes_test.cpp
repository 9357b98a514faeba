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

using families::call_of;
using families::hardware;
using families::Kind;
using families::proves;
using testing::ElementsAre;
using testing::ElementsAreArray;
using namespace testing_support;

namespace {

const std::string mrfi_address = "/sys/class/mrfi/mrfi0/address";

struct Text {
    std::string function;
    int index;
    std::string value;  // of the hardware
    std::string text;   // that its attribute shows
    CallResult result;
};

class Texts : public testing::TestWithParam<Text> {};

TEST_P(Texts, AreReadOrAreAStreamFailure) {
    const Text& row = GetParam();
    const bool good = row.result.result == 0;
    proves(row.function, good ? Kind::good : Kind::bad_input);
    const std::string before = hardware({"get", row.value});
    hardware({"raw", row.value, row.text});
    const ChildResult child = run_in_child(call_of(row.function, row.index));
    // What the driver shows once and for all can only be shown again.
    if (row.value == mrfi_address)
        hardware({"raw", row.value, before + "\\n"});
    else
        hardware({"set", row.value, before});
    EXPECT_EQ(child.output, row.result);
    EXPECT_EQ(child.error_text, good ? "" : failed(row.function, stream_failure));
}

const CallResult no_value = refuses(untouched);

INSTANTIATE_TEST_SUITE_P(
    Functions, Texts,
    testing::Values(Text{"backlight_get", 0, "backlight.brightness", "0\\n", succeeds("0")},
                    Text{"backlight_get", 0, "backlight.brightness", "-3\\n", succeeds("0")},
                    Text{"backlight_get", 0, "backlight.brightness", " 4 of 7\\n", succeeds("128")},
                    Text{"backlight_get", 0, "backlight.brightness", "9\\n", succeeds("340")},  // it is not clamped
                    Text{"backlight_get", 0, "backlight.brightness", "", no_value},
                    Text{"backlight_get", 0, "backlight.brightness", "2147483648\\n", no_value},
                    Text{"backlight_get", 1, "pwm2.status", "2\\n", succeeds("127")},  // all but 0 is running
                    Text{"backlight_get", 1, "pwm2.status", "on\\n", no_value},
                    Text{"display_get", 0, "display.blank", "2", succeeds("true")},
                    Text{"display_get", 0, "display.blank", "-1\\n", succeeds("true")},
                    Text{"display_get", 0, "display.blank", "\\n", no_value},
                    Text{"led_color_get", 0, "keypad.color", "-1 256 3 4\\n", succeeds("-1 256 3")},  // not checked
                    Text{"led_color_get", 0, "keypad.color", "1 2\\n", no_value},
                    Text{"led_color_get", 0, "keypad.color", "1 2 red\\n", no_value},
                    Text{"io_get", 11, "echosounder.reset", "-5\\n", succeeds("-5")},
                    Text{"io_get", 11, "echosounder.reset", "low\\n", no_value},
                    Text{"io_get", 0, "pwm1.status", "2\\n", succeeds("0")},  // only 1 is on
                    Text{"io_get", 0, "pwm1.status", "\\n", no_value},
                    Text{"thermal_state_get", 0, "thermal.temp", "45000", succeeds("45000 60000 75000 85000 95000")},
                    Text{"thermal_state_get", 0, "thermal.temp", "hot\\n", no_value},
                    Text{"mrfi_address_get", 0, mrfi_address, "ab0001\\n", succeeds("1 0 ab 0 ")},
                    Text{"mrfi_address_get", 0, mrfi_address, "0\\n", succeeds("0 0 0 0 ")},
                    Text{"mrfi_address_get", 0, mrfi_address, "0x100000000\\n", no_value},
                    Text{"mrfi_address_get", 0, mrfi_address, "\\n", no_value},
                    Text{"mrfi_rssi_get", 0, "mrfi0.rssi", "12 dBm\\n", succeeds("12")},
                    Text{"mrfi_rssi_get", 0, "mrfi0.rssi", "none\\n", no_value},
                    Text{"mrfi_type_get", 0, "mrfi0.type", "-1\\n", succeeds("-1")},
                    Text{"mrfi_type_get", 0, "mrfi0.type", "2147483648\\n", no_value},
                    Text{"mrfi_autolink_get", 0, "mrfi0.autolink", "1", succeeds("true")},
                    Text{"mrfi_autolink_get", 0, "mrfi0.autolink", "2\\n", no_value}),
    [](const auto& instance) { return instance.param.function + "_" + std::to_string(instance.index); });

// A start-up programs the period anew: it is changed behind it.
TEST(PwmTexts, PeriodOfZeroHasNeitherFrequencyNorDuty) {
    proves("io_config_get", Kind::bad_input);
    const ChildResult child = run_in_child([] {
        call_of("es_present")();
        hardware({"raw", "pwm1.period", "0\\n"});
        return call_of("io_config_get")();
    });
    EXPECT_EQ(child.output, succeeds("0 Hz 0 %"));
    EXPECT_EQ(child.error_text, "");
}

TEST(SysFSIO, LevelIsPassedOnUnchecked) {
    VELMOR_NEEDS_RECORDER();
    proves("io_set", Kind::bad_input);
    const ChildResult child = run_in_child(Recorder().watch({"/sys/devices/platform/gps.0/"}), call(io_set, 9, 5));
    EXPECT_EQ(child.output, file_fails_with(EINVAL));
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
    const ChildResult child = run_in_child(Recorder().watch({"/sbin/"}), call_of("power_shutdown"));
    EXPECT_EQ(child.output, fails_with(ESRCH));
    EXPECT_EQ(child.error_text, failed("power_shutdown", "No such process"));
    // The program's shell opens it as its script.
    ASSERT_FALSE(child.acts.empty());
    EXPECT_EQ(child.acts.front(), "exec /sbin/poweroff");
    for (const std::string& act : child.acts) EXPECT_NE(act, "sync");
}

TEST_F(Acts, ShutdownWhoseProgramCannotBeStartedIsItsExecsErrno) {
    proves("power_shutdown", Kind::bad_input);
    const ChildResult child =
        run_in_child(Recorder().watch({"/sbin/"}).fail("exec /sbin/poweroff", ENOENT), call_of("power_shutdown"));
    EXPECT_EQ(child.output, fails_with(ENOENT));
    EXPECT_EQ(child.error_text, failed("power_shutdown", "No such file or directory"));
    EXPECT_THAT(child.acts, ElementsAre("exec /sbin/poweroff = ENOENT"));
}

TEST_F(Acts, RebootWhoseProgramCannotBeStartedIsItsExecsErrno) {
    proves("power_reboot", Kind::bad_input);
    const ChildResult child =
        run_in_child(Recorder().watch({"/sbin/"}).fail("exec /sbin/reboot", EACCES), call_of("power_reboot"));
    EXPECT_EQ(child.output, fails_with(EACCES));
    EXPECT_THAT(child.acts, ElementsAre("exec /sbin/reboot = EACCES"));
}

TEST_F(Acts, SuspendIsOneWriteOfMem) {
    proves("power_suspend", Kind::good);
    const ChildResult child = run_in_child(Recorder().watch({"/sys/power/"}), call_of("power_suspend"));
    EXPECT_EQ(child.output, succeeds());
    EXPECT_THAT(child.acts, ElementsAreArray(write_acts("/sys/power/state", "mem")));
}

}  // namespace
