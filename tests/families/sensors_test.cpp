// SPDX-License-Identifier: MIT
// Attitude and car motion: the axes as the input driver reports them.

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
using namespace testing_support;

namespace {

const auto attitude = call(attitude_get);
const auto motion = call(car_motion_get);

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

TEST_F(Sensors, EveryCallReadsTheAxesAnew) {
    proves("attitude_get", Kind::good);
    const ChildResult child = run_in_child([] {
        const std::string before = attitude();
        hardware({"set", "attitude.y", "-2048"});
        return joined({before, attitude()});
    });
    EXPECT_EQ(child.output, joined({succeeds("-12 34 1024"), succeeds("-12 -2048 1024")}));
}

TEST_F(Sensors, OnlyTheSignOfTheSecondAxisGivesTheDirection) {
    proves("car_motion_get", Kind::good);
    for (const int value : {-1, -32768, 0, 1, 32767}) {
        hardware({"set", "motion.rx", std::to_string(value)});
        EXPECT_EQ(run_in_child(motion).output, succeeds(value < 0 ? "50 backwards" : "50 forwards")) << value;
    }
    hardware({"set", "motion.x", "-50"});
    EXPECT_EQ(run_in_child(motion).output, succeeds("-50 forwards"));
}

TEST_F(Sensors, NodeIsOpenedByTheFirstCallAndStaysOpen) {
    VELMOR_NEEDS_RECORDER();
    proves("attitude_get", Kind::good);
    proves("car_motion_get", Kind::good);
    const ChildResult child = run_in_child(Recorder().watch({"/dev/input/"}), [] {
        return joined({attitude(), motion(), attitude(), motion()});
    });
    EXPECT_EQ(child.output, joined({succeeds("-12 34 1024"), succeeds("50 backwards"), succeeds("-12 34 1024"),
                                    succeeds("50 backwards")}));
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
    const char* const stored[] = {untouched, "-12 1515870810 1515870810", "-12 34 1515870810"};
    for (const int axis : {0, 1, 2}) {
        const std::string query = "ioctl /dev/input/event0 0x8018454" + std::to_string(axis);
        const ChildResult child = run_in_child(Recorder().fail(query, ENODEV), attitude);
        EXPECT_EQ(child.output, fails_with(ENODEV, stored[axis]));
        EXPECT_EQ(child.error_text, failed("attitude_get", "No such device"));
    }
}

TEST_F(Sensors, MotionIsStoredWholeOrNotAtAll) {
    VELMOR_NEEDS_RECORDER();
    proves("car_motion_get", Kind::bad_input);
    for (const char* query : {"ioctl /dev/input/event1 0x80184540", "ioctl /dev/input/event1 0x80184543"}) {
        const ChildResult child = run_in_child(Recorder().fail(query, ENODEV), motion);
        EXPECT_EQ(child.output, fails_with(ENODEV, untouched)) << query;
        EXPECT_EQ(child.error_text, failed("car_motion_get", "No such device")) << query;
    }
}

TEST_F(Sensors, OpenThatFailsIsTriedAgainByTheNextCall) {
    proves("attitude_get", Kind::bad_input);
    const families::Fault fault("/dev/input/event0:open:EACCES:1");
    EXPECT_EQ(run_in_child([] {
                  return joined({attitude(), attitude()});
              }).output,
              joined({fails_with(EACCES, untouched), succeeds("-12 34 1024")}));
}

}  // namespace
