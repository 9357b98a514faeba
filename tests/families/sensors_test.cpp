// SPDX-License-Identifier: MIT
// Attitude and car motion: the axes as the input driver answers them.

#include <gmock/gmock.h>
#include <cerrno>
#include <string>

#include "families/table.h"
#include "families/virtual_device.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using families::hardware;
using families::Kind;
using families::proves;
using testing::ElementsAre;
using testing_support::answer;
using testing_support::ChildResult;
using testing_support::joined;
using testing_support::Out;
using testing_support::Recorder;
using testing_support::run_in_child;

namespace {

std::string attitude() {
    Out<attitude_t> out;
    return answer([&] { return attitude_get(out); }, out);
}

std::string motion() {
    Out<car_motion_t> out;
    return answer([&] { return car_motion_get(out); }, out);
}

class Sensors : public testing::Test {
protected:
    void SetUp() override {
        for (const auto& [axis, value] : {std::pair{"attitude.x", "-12"},
                                          {"attitude.y", "34"},
                                          {"attitude.z", "1024"},
                                          {"motion.x", "50"},
                                          {"motion.rx", "-1"}})
            hardware({"set", axis, value});
    }
};

TEST_F(Sensors, AxesAreAskedAnewByEveryCall) {
    proves("attitude_get", Kind::good);
    const ChildResult child = run_in_child([] {
        const std::string before = attitude();
        hardware({"set", "attitude.y", "-2048"});
        return joined({before, attitude()});
    });
    EXPECT_EQ(child.output, "0: -12 34 1024, 0: -12 -2048 1024");
}

TEST_F(Sensors, OnlyTheSignOfTheSecondAxisTellsTheDirection) {
    proves("car_motion_get", Kind::good);
    for (const auto& [value, output] : {std::pair{"-1", "0: 50 backwards"},
                                        {"-32768", "0: 50 backwards"},
                                        {"0", "0: 50 forwards"},
                                        {"1", "0: 50 forwards"},
                                        {"32767", "0: 50 forwards"}}) {
        hardware({"set", "motion.rx", value});
        EXPECT_EQ(run_in_child(motion).output, output) << value;
    }
    hardware({"set", "motion.x", "-50"});
    EXPECT_EQ(run_in_child(motion).output, "0: -50 forwards");
}

TEST_F(Sensors, NodeIsOpenedByTheFirstCallAndStaysOpen) {
    VELMOR_NEEDS_RECORDER();
    proves("attitude_get", Kind::good);
    proves("car_motion_get", Kind::good);
    const ChildResult child = run_in_child(Recorder().watch({"/dev/input/"}), [] {
        return joined({attitude(), motion(), attitude(), motion()});
    });
    EXPECT_EQ(child.output, "0: -12 34 1024, 0: 50 backwards, 0: -12 34 1024, 0: 50 backwards");
    EXPECT_THAT(child.acts, ElementsAre("open /dev/input/event0 r", "ioctl /dev/input/event0 0x80184540",
                                        "ioctl /dev/input/event0 0x80184541", "ioctl /dev/input/event0 0x80184542",
                                        "open /dev/input/event1 r", "ioctl /dev/input/event1 0x80184540",
                                        "ioctl /dev/input/event1 0x80184543", "ioctl /dev/input/event0 0x80184540",
                                        "ioctl /dev/input/event0 0x80184541", "ioctl /dev/input/event0 0x80184542",
                                        "ioctl /dev/input/event1 0x80184540", "ioctl /dev/input/event1 0x80184543"));
}

// 0x5A5A5A5A, 1515870810, is what the record held before.
TEST_F(Sensors, AxesBeforeTheOneThatFailsAreStored) {
    VELMOR_NEEDS_RECORDER();
    proves("attitude_get", Kind::bad_input);
    const char* const output[] = {"-19 errno 19: untouched", "-19 errno 19: -12 1515870810 1515870810",
                                  "-19 errno 19: -12 34 1515870810"};
    for (const int axis : {0, 1, 2}) {
        const std::string query = "ioctl /dev/input/event0 0x8018454" + std::to_string(axis);
        const ChildResult child = run_in_child(Recorder().fail(query, ENODEV), attitude);
        EXPECT_EQ(child.output, output[axis]);
        EXPECT_EQ(child.error_text, "attitude_get failed: No such device\n");
    }
}

TEST_F(Sensors, MotionIsStoredWholeOrNotAtAll) {
    VELMOR_NEEDS_RECORDER();
    proves("car_motion_get", Kind::bad_input);
    for (const char* query : {"ioctl /dev/input/event1 0x80184540", "ioctl /dev/input/event1 0x80184543"}) {
        const ChildResult child = run_in_child(Recorder().fail(query, ENODEV), motion);
        EXPECT_EQ(child.output, "-19 errno 19: untouched") << query;
        EXPECT_EQ(child.error_text, "car_motion_get failed: No such device\n") << query;
    }
}

TEST_F(Sensors, OpenThatFailsIsTriedAgainByTheNextCall) {
    proves("attitude_get", Kind::bad_input);
    const families::Fault fault("/dev/input/event0:open:EACCES:1");
    EXPECT_EQ(run_in_child([] {
                  return joined({attitude(), attitude()});
              }).output,
              "-13 errno 13: untouched, 0: -12 34 1024");
}

}  // namespace
