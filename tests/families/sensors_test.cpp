// SPDX-License-Identifier: MIT
// Attitude and car motion: the axes as the input driver reports them.

#include "families/families_test.h"

using testing::ElementsAre;
using namespace families;
using namespace testing_support;

namespace {

const Scenario attitude = call(attitude_get);
const Scenario motion = call(car_motion_get);

constexpr char x[] = "ioctl /dev/input/event0 0x80184540";
constexpr char y[] = "ioctl /dev/input/event0 0x80184541";
constexpr char z[] = "ioctl /dev/input/event0 0x80184542";
constexpr char speed[] = "ioctl /dev/input/event1 0x80184540";
constexpr char direction[] = "ioctl /dev/input/event1 0x80184543";

class Sensors : public testing::Test {
protected:
    void SetUp() override { set_hardware("attitude.x=-12, attitude.y=34, attitude.z=1024, motion.x=50, motion.rx=-1"); }
};

TEST_F(Sensors, EveryCallReadsTheAxesAnew) {
    const ChildResult child = run_in_child([] {
        const std::string before = attitude();
        set_hardware("attitude.y=-2048");
        return joined({before, attitude()});
    });
    EXPECT_THAT(child, returns({succeeds("-12 34 1024"), succeeds("-12 -2048 1024")}));
}

TEST_F(Sensors, OnlyTheSignOfTheSecondAxisGivesTheDirection) {
    for (const int value : {-1, -32768, 0, 1, 32767}) {
        set_hardware("motion.rx=" + std::to_string(value));
        EXPECT_THAT(run_in_child(motion), returns(succeeds(value < 0 ? "50 backwards" : "50 forwards"))) << value;
    }
    set_hardware("motion.x=-50");
    EXPECT_THAT(run_in_child(motion), returns(succeeds("-50 forwards")));
}

TEST_F(Sensors, NodeIsOpenedByTheFirstCallAndStaysOpen) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child =
        run_in_child(Recorder().watch({"/dev/input/"}), in_turn({attitude, motion, attitude, motion}));
    EXPECT_THAT(child, returns({succeeds("-12 34 1024"), succeeds("50 backwards"), succeeds("-12 34 1024"),
                                succeeds("50 backwards")}));
    EXPECT_THAT(child.acts, ElementsAre("open /dev/input/event0 r", x, y, z, "open /dev/input/event1 r", speed,
                                        direction, x, y, z, speed, direction));
}

// 1515870810 is 0x5A5A5A5A, which the record held before.
TEST_F(Sensors, AxesBeforeTheOneThatFailsAreStored) {
    VELMOR_NEEDS_RECORDER();
    const struct {
        std::string query;
        std::string stored;
    } rows[] = {{x, untouched}, {y, "-12 1515870810 1515870810"}, {z, "-12 34 1515870810"}};
    for (const auto& [query, stored] : rows)
        EXPECT_THAT(run_in_child(Recorder().fail(query, ENODEV), attitude),
                    returns(fails_with(ENODEV, stored), failed("attitude_get", "No such device")));
}

TEST_F(Sensors, MotionIsStoredCompletelyOrNotAtAll) {
    VELMOR_NEEDS_RECORDER();
    for (const char* query : {speed, direction})
        EXPECT_THAT(run_in_child(Recorder().fail(query, ENODEV), motion),
                    returns(fails_with(ENODEV, untouched), failed("car_motion_get", "No such device")))
            << query;
}

TEST_F(Sensors, OpenThatFailsIsTriedAgainByTheNextCall) {
    const Fault fault("/dev/input/event0:open:EACCES:1");
    EXPECT_THAT(
        run_in_child(in_turn({attitude, attitude})),
        returns({fails_with(EACCES, untouched), succeeds("-12 34 1024")}, failed("attitude_get", "Permission denied")));
}

}  // namespace
