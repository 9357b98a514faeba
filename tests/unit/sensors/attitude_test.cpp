// SPDX-License-Identifier: MIT
#include "sensors/attitude.h"

#include <gmock/gmock.h>

#include "core/board.h"
#include "input_device.h"
#include "support/files.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing_support::thrown;
using Velmor::Attitude;

namespace {

constexpr unsigned long x = 0x80184540;
constexpr unsigned long y = 0x80184541;
constexpr unsigned long z = 0x80184542;

TEST(Attitude, AxesXYZAreQueriedInOrder) {
    InputDevice input;
    input.values = {{x, 100}, {y, -200}, {z, 300}};
    attitude_t attitude = {};
    Attitude(input.node()).get(attitude);
    EXPECT_EQ(attitude.x, 100);
    EXPECT_EQ(attitude.y, -200);
    EXPECT_EQ(attitude.z, 300);
    EXPECT_THAT(input.requests(), ElementsAre(x, y, z));
}

TEST(Attitude, ConstructionOpensNothing) {
    const testing_support::TemporaryDirectory directory;
    EXPECT_EQ(thrown([&] { Attitude(directory / "none"); }), "nothing");
}

TEST(Attitude, EveryCallAsksTheNodeThatTheFirstHasOpened) {
    InputDevice input;
    input.values = {{x, 1}, {y, 2}, {z, 3}};
    Attitude resource(input.node());
    attitude_t attitude = {};
    resource.get(attitude);
    testing_support::remove(input.node());
    input.values = {{x, 4}, {y, 5}, {z, 6}};
    resource.get(attitude);
    EXPECT_EQ(attitude.x, 4);
    EXPECT_EQ(attitude.y, 5);
    EXPECT_EQ(attitude.z, 6);
    EXPECT_EQ(input.queries.front().fd, input.queries.back().fd);
}

TEST(Attitude, FailureKeepsTheAxesBeforeIt) {
    InputDevice input;
    input.error = EIO;
    Attitude resource(input.node());
    attitude_t attitude = {-7, -8, -9};
    EXPECT_EQ(thrown([&] { resource.get(attitude); }), "system_error 5 Input/output error");
    EXPECT_EQ(attitude.x, -7);

    input.values = {{x, 1}, {z, 3}};
    EXPECT_EQ(thrown([&] { resource.get(attitude); }), "system_error 5 Input/output error");
    EXPECT_EQ(attitude.x, 1);
    EXPECT_EQ(attitude.y, -8);
    EXPECT_EQ(attitude.z, -9);

    input.values = {{x, 4}, {y, 5}};
    EXPECT_EQ(thrown([&] { resource.get(attitude); }), "system_error 5 Input/output error");
    EXPECT_EQ(attitude.x, 4);
    EXPECT_EQ(attitude.y, 5);
    EXPECT_EQ(attitude.z, -9);
}

TEST(Attitude, MissingNodeIsNoEntry) {
    const testing_support::TemporaryDirectory directory;
    Attitude resource(directory / "none");
    attitude_t attitude = {-7, -8, -9};
    EXPECT_EQ(thrown([&] { resource.get(attitude); }), "system_error 2 No such file or directory");
    EXPECT_EQ(attitude.x, -7);
}

TEST(Attitude, NodeThatAppearsLaterIsOpenedThen) {
    InputDevice input;
    input.values = {{x, 1}, {y, 2}, {z, 3}};
    testing_support::remove(input.node());
    Attitude resource(input.node());
    attitude_t attitude = {};
    EXPECT_EQ(thrown([&] { resource.get(attitude); }), "system_error 2 No such file or directory");
    testing_support::put(input.node(), "");
    EXPECT_EQ(thrown([&] { resource.get(attitude); }), "nothing");
}

TEST(Attitude, UnregisteredIsNotSupported) {
    attitude_t attitude = {};
    EXPECT_EQ(thrown([&] { Velmor::Board().attitude_get(&attitude); }), "system_error 95 Operation not supported");
}

TEST(Attitude, NullRecordIsInvalid) {
    errno = 0;
    EXPECT_EQ(attitude_get(nullptr), -22);
    EXPECT_EQ(errno, 22);
}

}  // namespace
