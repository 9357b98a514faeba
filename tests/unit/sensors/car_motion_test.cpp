// SPDX-License-Identifier: MIT
#include "sensors/car_motion.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstring>

#include "core/board.h"
#include "input_device.h"
#include "support/files.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing_support::thrown;
using Velmor::CarMotion;

namespace {

constexpr unsigned long x = 0x80184540;
constexpr unsigned long rx = 0x80184543;

/** The byte that the record holds for this value of axis RX. */
int reverse_byte(std::int32_t direction) {
    InputDevice input;
    input.values = {{x, 50}, {rx, direction}};
    car_motion_t motion = {};
    CarMotion(input.node()).get(motion);
    unsigned char byte = 0xFF;
    std::memcpy(&byte, &motion.reverse, 1);
    return byte;
}

TEST(CarMotion, SpeedIsAxisXAndTheDirectionAxisRX) {
    InputDevice input;
    input.values = {{x, -123456}, {rx, -5}};
    car_motion_t motion = {};
    CarMotion(input.node()).get(motion);
    EXPECT_EQ(motion.speed, -123456);
    EXPECT_TRUE(motion.reverse);
    EXPECT_THAT(input.requests(), ElementsAre(x, rx));
}

TEST(CarMotion, OnlyADirectionBelowZeroIsReverse) {
    EXPECT_EQ(reverse_byte(-1), 1);
    EXPECT_EQ(reverse_byte(INT_MIN), 1);
    EXPECT_EQ(reverse_byte(0), 0);
    EXPECT_EQ(reverse_byte(1), 0);
    EXPECT_EQ(reverse_byte(INT_MAX), 0);
}

TEST(CarMotion, LaterCallsUseTheOpenNode) {
    InputDevice input;
    input.values = {{x, 1}, {rx, 1}};
    CarMotion resource(input.node());
    car_motion_t motion = {};
    resource.get(motion);
    testing_support::remove(input.node());
    input.values = {{x, 2}, {rx, -1}};
    resource.get(motion);
    EXPECT_EQ(motion.speed, 2);
    EXPECT_TRUE(motion.reverse);
    EXPECT_EQ(input.queries.front().fd, input.queries.back().fd);
}

TEST(CarMotion, FailureStoresNothing) {
    InputDevice input;
    input.error = ENODEV;
    CarMotion resource(input.node());
    car_motion_t motion = {77, true};
    EXPECT_EQ(thrown([&] { resource.get(motion); }), "system_error 19 No such device");
    input.values = {{x, 1}};
    EXPECT_EQ(thrown([&] { resource.get(motion); }), "system_error 19 No such device");
    EXPECT_THAT(input.requests(), ElementsAre(x, x, rx));
    EXPECT_EQ(motion.speed, 77);
    EXPECT_TRUE(motion.reverse);
}

TEST(CarMotion, MissingNodeIsNoEntry) {
    const testing_support::TemporaryDirectory directory;
    CarMotion resource(directory / "none");
    car_motion_t motion = {77, true};
    EXPECT_EQ(thrown([&] { resource.get(motion); }), "system_error 2 No such file or directory");
    EXPECT_EQ(motion.speed, 77);
}

TEST(CarMotion, UnregisteredIsNotSupported) {
    car_motion_t motion = {};
    EXPECT_EQ(thrown([&] { Velmor::Board().car_motion_get(&motion); }), "system_error 95 Operation not supported");
}

TEST(CarMotion, NullRecordIsInvalid) {
    errno = 0;
    EXPECT_EQ(car_motion_get(nullptr), -22);
    EXPECT_EQ(errno, 22);
}

}  // namespace
