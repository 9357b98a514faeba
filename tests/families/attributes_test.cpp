// SPDX-License-Identifier: MIT
// The acts of the LED group, and of the plain power resource.

#include <gmock/gmock.h>
#include <cerrno>
#include <string>

#include "families/acts.h"
#include "families/table.h"
#include "families/virtual_device.h"
#include "support/recorder.h"
#include "system/scenario.h"
#include "velmor.h"

using families::hardware;
using families::Kind;
using families::proves;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing_support::answer;
using testing_support::Out;
using testing_support::play;
using testing_support::Played;
using testing_support::Recorder;

namespace {

const std::string color_file = "/sys/class/leds/keypad/color";
constexpr char stream_failure[] = "basic_ios::clear: iostream error";

class Acts : public testing::Test {
protected:
    void SetUp() override {
        if (!Recorder::available()) GTEST_SKIP() << "acts are recorded on x86-64 only";
    }
};

Recorder leds() {
    return Recorder().watch({"/sys/class/leds/"});
}

std::string set_color(led_color_t color) {
    return answer([&] { return led_color_set(0, &color); });
}

std::string get_color() {
    Out<led_color_t> color;
    return answer([&] { return led_color_get(0, color); }, color);
}

TEST_F(Acts, ColorIsOneWriteOfThreeNumbers) {
    proves("led_color_set", Kind::good);
    const Played played = play(leds(), [] { return set_color({255, 0, 16}); });
    EXPECT_EQ(played.told, "0");
    EXPECT_THAT(played.acts, ElementsAreArray(families::written(color_file, "255 0 16")));
}

TEST_F(Acts, ColorIsOneRead) {
    proves("led_color_get", Kind::good);
    hardware({"set", "keypad.color", "1 2 3"});
    const Played played = play(leds(), get_color);
    EXPECT_EQ(played.told, "0: 1 2 3");
    EXPECT_THAT(played.acts, ElementsAreArray(families::read(color_file)));
}

TEST_F(Acts, ColorIsNotCheckedWhenItIsRead) {
    proves("led_color_get", Kind::good);
    hardware({"raw", color_file, "-1 256 3 4\\n"});
    EXPECT_EQ(play(get_color).told, "0: -1 256 3");
    hardware({"set", "keypad.color", "0 0 0"});
}

TEST_F(Acts, ColorWithFewerThanThreeNumbersIsAStreamFailure) {
    proves("led_color_get", Kind::bad_input);
    hardware({"raw", color_file, "1 2\\n"});
    const Played played = play(get_color);
    EXPECT_EQ(played.told, "-1: untouched");
    EXPECT_EQ(played.error_text, std::string("led_color_get failed: ") + stream_failure + "\n");
    hardware({"set", "keypad.color", "0 0 0"});
}

TEST_F(Acts, ColorOutOfRangeTouchesNothing) {
    proves("led_color_set", Kind::bad_input);
    for (const led_color_t& color :
         {led_color_t{-1, 0, 0}, {256, 0, 0}, {0, -1, 0}, {0, 256, 0}, {0, 0, -1}, {0, 0, 256}}) {
        const Played played = play(leds(), [color] { return set_color(color); });
        EXPECT_EQ(played.told, "-1");
        EXPECT_EQ(played.error_text, "led_color_set failed: color out of range\n");
        EXPECT_THAT(played.acts, IsEmpty());
    }
}

TEST_F(Acts, ColorWhoseAccessFailsInTheMiddle) {
    proves("led_color_set", Kind::bad_input);
    proves("led_color_get", Kind::bad_input);
    const auto set = [] { return set_color({1, 2, 3}); };
    const std::string open_w = "open " + color_file + " w";
    const std::string open_r = "open " + color_file + " r";

    Played played = play(leds().fail(open_w, EIO), set);
    EXPECT_EQ(played.told, "-1 errno 5");
    EXPECT_THAT(played.acts, ElementsAre(open_w + " = EIO"));

    played = play(leds().fail("write " + color_file, EIO), set);
    EXPECT_EQ(played.told, "-1 errno 5");
    EXPECT_EQ(played.error_text, std::string("led_color_set failed: ") + stream_failure + "\n");
    EXPECT_THAT(played.acts, ElementsAre(open_w, "write " + color_file + " 1 2 3 = EIO", "close " + color_file));

    played = play(leds().fail(open_r, EIO), get_color);
    EXPECT_EQ(played.told, "-1 errno 5: untouched");
    EXPECT_THAT(played.acts, ElementsAre(open_r + " = EIO"));

    played = play(leds().fail("read " + color_file, EIO), get_color);
    EXPECT_EQ(played.told, "-1 errno 5: untouched");
    EXPECT_THAT(played.acts, ElementsAre(open_r, "read " + color_file + " = EIO", "close " + color_file));
}

// ---- Power ---------------------------------------------------------------------------------------------------------

TEST_F(Acts, ShutdownRunsThePowerOffProgramAndReturnsItsExitCode) {
    proves("power_shutdown", Kind::bad_input);
    hardware({"set", "poweroff.exit", "3"});
    const Played played = play(Recorder().watch({"/sbin/"}), [] { return answer([] { return power_shutdown(); }); });
    EXPECT_EQ(played.told, "-3 errno 3");
    EXPECT_EQ(played.error_text, "power_shutdown failed: No such process\n");
    // The program's shell opens it as its script.
    ASSERT_FALSE(played.acts.empty());
    EXPECT_EQ(played.acts.front(), "exec /sbin/poweroff");
    for (const std::string& act : played.acts) EXPECT_NE(act, "sync");
}

TEST_F(Acts, ShutdownWhoseProgramCannotBeStartedIsItsExecsErrno) {
    proves("power_shutdown", Kind::bad_input);
    const Played played = play(Recorder().watch({"/sbin/"}).fail("exec /sbin/poweroff", ENOENT),
                               [] { return answer([] { return power_shutdown(); }); });
    EXPECT_EQ(played.told, "-2 errno 2");
    EXPECT_EQ(played.error_text, "power_shutdown failed: No such file or directory\n");
    EXPECT_THAT(played.acts, ElementsAre("exec /sbin/poweroff = ENOENT"));
}

TEST_F(Acts, RebootWhoseProgramCannotBeStartedIsItsExecsErrno) {
    proves("power_reboot", Kind::bad_input);
    const Played played = play(Recorder().watch({"/sbin/"}).fail("exec /sbin/reboot", EACCES),
                               [] { return answer([] { return power_reboot(); }); });
    EXPECT_EQ(played.told, "-13 errno 13");
    EXPECT_THAT(played.acts, ElementsAre("exec /sbin/reboot = EACCES"));
}

TEST_F(Acts, SuspendIsOneWriteOfMem) {
    proves("power_suspend", Kind::good);
    const Played played =
        play(Recorder().watch({"/sys/power/"}), [] { return answer([] { return power_suspend(); }); });
    EXPECT_EQ(played.told, "0");
    EXPECT_THAT(played.acts, ElementsAreArray(families::written("/sys/power/state", "mem")));
}

}  // namespace
