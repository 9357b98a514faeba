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
using testing_support::thrown;
using Velmor::CarMotion;

namespace {

constexpr unsigned long x = 0x80184540;
constexpr unsigned long rx = 0x80184543;

constexpr char no_device[] = "system_error 19 No such device";
constexpr char no_entry[] = "system_error 2 No such file or directory";

class CarMotionTest : public testing::Test {
protected:
    /** What a query throws. */
    std::string query() {
        return thrown([this] { sensor_.get(motion_); });
    }

    /** The byte that the record holds for this value of axis RX. */
    int reverse_byte(std::int32_t direction) {
        input_.values = {{x, 50}, {rx, direction}};
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
    input_.values = {{x, -123456}, {rx, -5}};
    sensor_.get(motion_);
    EXPECT_THAT(motion_, FieldsAre(-123456, true));
    EXPECT_THAT(input_.requests(), ElementsAre(x, rx));
}

TEST_F(CarMotionTest, OnlyADirectionBelowZeroIsReverse) {
    EXPECT_EQ(reverse_byte(-1), 1);
    EXPECT_EQ(reverse_byte(INT_MIN), 1);
    EXPECT_EQ(reverse_byte(0), 0);
    EXPECT_EQ(reverse_byte(1), 0);
    EXPECT_EQ(reverse_byte(INT_MAX), 0);
}

TEST_F(CarMotionTest, LaterCallsUseTheOpenNode) {
    input_.values = {{x, 1}, {rx, 1}};
    sensor_.get(motion_);
    testing_support::remove(input_.node());
    input_.values = {{x, 2}, {rx, -1}};
    sensor_.get(motion_);
    EXPECT_THAT(motion_, FieldsAre(2, true));
    EXPECT_EQ(input_.queries.front().fd, input_.queries.back().fd);
}

TEST_F(CarMotionTest, FailureStoresNothing) {
    input_.error = ENODEV;
    EXPECT_EQ(query(), no_device);
    input_.values = {{x, 1}};
    EXPECT_EQ(query(), no_device);
    EXPECT_THAT(input_.requests(), ElementsAre(x, x, rx));
    EXPECT_THAT(motion_, FieldsAre(77, true));
}

TEST_F(CarMotionTest, MissingNodeIsNoEntry) {
    testing_support::remove(input_.node());
    EXPECT_EQ(query(), no_entry);
    EXPECT_THAT(motion_, FieldsAre(77, true));
}

}  // namespace
