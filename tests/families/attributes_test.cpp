// SPDX-License-Identifier: MIT
// Texts of attributes that no sound driver shows, and the acts of the plain power resource.

#include "families/families_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using namespace families;
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

const CallResult no_value = refuses(untouched);

const Text texts[] = {
    {"backlight_get", 0, "backlight.brightness", "0\\n", succeeds("0")},
    {"backlight_get", 0, "backlight.brightness", "-3\\n", succeeds("0")},
    {"backlight_get", 0, "backlight.brightness", " 4 of 7\\n", succeeds("128")},
    {"backlight_get", 0, "backlight.brightness", "9\\n", succeeds("340")},  // not clamped
    {"backlight_get", 0, "backlight.brightness", "", no_value},
    {"backlight_get", 0, "backlight.brightness", "2147483648\\n", no_value},
    {"backlight_get", 1, "pwm2.status", "2\\n", succeeds("127")},  // anything but 0 is running
    {"backlight_get", 1, "pwm2.status", "on\\n", no_value},
    {"display_get", 0, "display.blank", "2", succeeds("true")},
    {"display_get", 0, "display.blank", "-1\\n", succeeds("true")},
    {"display_get", 0, "display.blank", "\\n", no_value},
    {"led_color_get", 0, "keypad.color", "-1 256 3 4\\n", succeeds("-1 256 3")},  // not range-checked
    {"led_color_get", 0, "keypad.color", "1 2\\n", no_value},
    {"led_color_get", 0, "keypad.color", "1 2 red\\n", no_value},
    {"io_get", 11, "echosounder.reset", "-5\\n", succeeds("-5")},
    {"io_get", 11, "echosounder.reset", "low\\n", no_value},
    {"io_get", 0, "pwm1.status", "2\\n", succeeds("0")},  // only 1 is on
    {"io_get", 0, "pwm1.status", "\\n", no_value},
    {"thermal_state_get", 0, "thermal.temp", "45000", succeeds("45000 60000 75000 85000 95000")},
    {"thermal_state_get", 0, "thermal.temp", "hot\\n", no_value},
    {"mrfi_address_get", 0, mrfi_address, "ab0001\\n", succeeds("1 0 ab 0 ")},
    {"mrfi_address_get", 0, mrfi_address, "0\\n", succeeds("0 0 0 0 ")},
    {"mrfi_address_get", 0, mrfi_address, "0x100000000\\n", no_value},
    {"mrfi_address_get", 0, mrfi_address, "\\n", no_value},
    {"mrfi_rssi_get", 0, "mrfi0.rssi", "12 dBm\\n", succeeds("12")},
    {"mrfi_rssi_get", 0, "mrfi0.rssi", "none\\n", no_value},
    {"mrfi_type_get", 0, "mrfi0.type", "-1\\n", succeeds("-1")},
    {"mrfi_type_get", 0, "mrfi0.type", "2147483648\\n", no_value},
    {"mrfi_autolink_get", 0, "mrfi0.autolink", "1", succeeds("true")},
    {"mrfi_autolink_get", 0, "mrfi0.autolink", "2\\n", no_value},
};

class Texts : public testing::TestWithParam<Text> {};

TEST_P(Texts, AreReadOrAreAStreamFailure) {
    const auto& [function, index, value, text, result] = GetParam();
    const bool good = result.result == 0;
    const std::string before = hardware({"get", value});
    hardware({"raw", value, text});
    const ChildResult child = run_in_child(call_of(function, index));
    // The address is constant: it cannot be set, only shown again.
    if (value == mrfi_address)
        hardware({"raw", value, before + "\\n"});
    else
        hardware({"set", value, before});
    EXPECT_THAT(child, returns(result, good ? "" : failed(function, stream_failure)));
}

INSTANTIATE_TEST_SUITE_P(Functions, Texts, testing::ValuesIn(texts), [](const auto& instance) {
    return instance.param.function + "_" + std::to_string(instance.index);
});

// The start of the board sets the period: the text changes after it.
TEST(PwmTexts, PeriodOfZeroHasNeitherFrequencyNorDuty) {
    const ChildResult child = run_in_child([] {
        query_es();
        hardware({"raw", "pwm1.period", "0\\n"});
        return call_of("io_config_get")();
    });
    EXPECT_THAT(child, returns(succeeds("0 Hz 0 %")));
}

class RecordedCalls : public testing::Test {
protected:
    void SetUp() override { VELMOR_NEEDS_RECORDER(); }
};

TEST_F(RecordedCalls, LevelOfALineIsNotChecked) {
    const std::string enable = "/sys/devices/platform/gps.0/enable";
    const ChildResult child = run_in_child(Recorder().watch({enable}), call(io_set, 9, 5));
    EXPECT_THAT(child, returns(file_fails_with(EINVAL), failed("io_set", stream_failure)));
    EXPECT_THAT(child.acts, ElementsAre("open " + enable + " w", "write " + enable + " 5 = EINVAL", "close " + enable));
}

TEST_F(RecordedCalls, ShutdownRunsThePowerOffProgramAndReturnsItsExitCode) {
    set_hardware("poweroff.exit=3");
    const ChildResult child = run_in_child(Recorder().watch({"/sbin/"}), call_of("power_shutdown"));
    EXPECT_THAT(child, returns(fails_with(ESRCH), failed("power_shutdown", "No such process")));
    ASSERT_FALSE(child.acts.empty());
    EXPECT_EQ(child.acts.front(), "exec /sbin/poweroff");  // the other acts are those of the program's shell
    EXPECT_THAT(child.acts, Not(Contains("sync")));
}

TEST_F(RecordedCalls, ProgramThatCannotBeStartedIsItsExecsErrno) {
    const auto run_without = [](const std::string& program, int error, const std::string& function) {
        return run_in_child(Recorder().watch({"/sbin/"}).fail("exec " + program, error), call_of(function));
    };
    const ChildResult shutdown = run_without("/sbin/poweroff", ENOENT, "power_shutdown");
    EXPECT_THAT(shutdown, returns(fails_with(ENOENT), failed("power_shutdown", "No such file or directory")));
    EXPECT_THAT(shutdown.acts, ElementsAre("exec /sbin/poweroff = ENOENT"));
    const ChildResult reboot = run_without("/sbin/reboot", EACCES, "power_reboot");
    EXPECT_THAT(reboot, returns(fails_with(EACCES), failed("power_reboot", "Permission denied")));
    EXPECT_THAT(reboot.acts, ElementsAre("exec /sbin/reboot = EACCES"));
}

TEST_F(RecordedCalls, SuspendIsOneWriteOfMem) {
    const ChildResult child = run_in_child(Recorder().watch({"/sys/power/"}), call_of("power_suspend"));
    EXPECT_THAT(child, returns(succeeds()));
    EXPECT_EQ(child.acts, write_acts("/sys/power/state", "mem"));
}

}  // namespace
