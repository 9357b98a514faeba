// SPDX-License-Identifier: MIT
#include "sensors/car_motion.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "input_device.h"
#include "support/files.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing::FieldsAre;
using Velmor::CarMotion;
using namespace testing_support;

namespace {

class CarMotionTest : public testing::Test {
protected:
    /** What a query throws. */
    std::string query() {
        return thrown([this] { sensor_.get(motion_); });
    }

    /** The byte of the record for this value of axis RX. */
    int reverse_byte(std::int32_t direction) {
        input_.values = {{axis_x, 50}, {axis_rx, direction}};
        sensor_.get(motion_);
        unsigned char byte = 0xFF;
        std::memcpy(&byte, &motion_.reverse, 1);
        return byte;
    }

    InputDevice input_;
    CarMotion sensor_{input_.node()};
    car_motion_t motion_ = {77, true};
};

TEST_F(CarMotionTest, SpeedIsAxisXAndTheDirectionAxisRX) {
    input_.values = {{axis_x, -123456}, {axis_rx, -5}};
    sensor_.get(motion_);
    EXPECT_THAT(motion_, FieldsAre(-123456, true));
    EXPECT_THAT(input_.requests(), ElementsAre(axis_x, axis_rx));
}

TEST_F(CarMotionTest, OnlyANegativeDirectionIsReverse) {
    EXPECT_EQ(reverse_byte(-1), 1);
    EXPECT_EQ(reverse_byte(INT_MIN), 1);
    EXPECT_EQ(reverse_byte(0), 0);
    EXPECT_EQ(reverse_byte(1), 0);
    EXPECT_EQ(reverse_byte(INT_MAX), 0);
}

TEST_F(CarMotionTest, LaterCallsUseTheOpenNode) {
    input_.values = {{axis_x, 1}, {axis_rx, 1}};
    sensor_.get(motion_);
    remove(input_.node());
    input_.values = {{axis_x, 2}, {axis_rx, -1}};
    sensor_.get(motion_);
    EXPECT_THAT(motion_, FieldsAre(2, true));
    EXPECT_EQ(input_.queries.front().fd, input_.queries.back().fd);
}

TEST_F(CarMotionTest, FailureStoresNothing) {
    input_.error = ENODEV;
    EXPECT_EQ(query(), system_error(ENODEV));
    input_.values = {{axis_x, 1}};
    EXPECT_EQ(query(), system_error(ENODEV));
    EXPECT_THAT(input_.requests(), ElementsAre(axis_x, axis_x, axis_rx));
    remove(input_.node());
    EXPECT_EQ(thrown([this] { CarMotion(input_.node()).get(motion_); }), system_error(ENOENT));
    EXPECT_THAT(motion_, FieldsAre(77, true));
}

}  // namespace
