// SPDX-License-Identifier: MIT
#include "sensors/attitude.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "input_device.h"
#include "support/files.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing::FieldsAre;
using testing_support::thrown;
using Velmor::Attitude;

namespace {

constexpr unsigned long x = 0x80184540;
constexpr unsigned long y = 0x80184541;
constexpr unsigned long z = 0x80184542;

constexpr char io_error[] = "system_error 5 Input/output error";
constexpr char no_entry[] = "system_error 2 No such file or directory";

class AttitudeTest : public testing::Test {
protected:
    AttitudeTest() { input_.values = {{x, 100}, {y, -200}, {z, 300}}; }

    /** What a query throws. */
    std::string query() {
        return thrown([this] { sensor_.get(attitude_); });
    }

    InputDevice input_;
    Attitude sensor_{input_.node()};
    attitude_t attitude_ = {-7, -8, -9};
};

TEST_F(AttitudeTest, AxesXYZAreQueriedInOrder) {
    sensor_.get(attitude_);
    EXPECT_THAT(attitude_, FieldsAre(100, -200, 300));
    EXPECT_THAT(input_.requests(), ElementsAre(x, y, z));
}

TEST_F(AttitudeTest, EveryCallAsksTheNodeThatTheFirstHasOpened) {
    sensor_.get(attitude_);
    testing_support::remove(input_.node());
    input_.values = {{x, 4}, {y, 5}, {z, 6}};
    sensor_.get(attitude_);
    EXPECT_THAT(attitude_, FieldsAre(4, 5, 6));
    EXPECT_EQ(input_.queries.front().fd, input_.queries.back().fd);
}

TEST_F(AttitudeTest, FailureKeepsTheAxesBeforeIt) {
    input_.error = EIO;
    input_.values = {};
    EXPECT_EQ(query(), io_error);
    EXPECT_THAT(attitude_, FieldsAre(-7, -8, -9));
    input_.values = {{x, 1}, {z, 3}};
    EXPECT_EQ(query(), io_error);
    EXPECT_THAT(attitude_, FieldsAre(1, -8, -9));
    input_.values = {{x, 4}, {y, 5}};
    EXPECT_EQ(query(), io_error);
    EXPECT_THAT(attitude_, FieldsAre(4, 5, -9));
}

// Construction opens nothing: the node may appear later.
TEST_F(AttitudeTest, NodeThatIsMissingIsNoEntryAndOpenedWhenItAppears) {
    testing_support::remove(input_.node());
    EXPECT_EQ(thrown([this] { Attitude(input_.node()); }), "nothing");
    EXPECT_EQ(query(), no_entry);
    EXPECT_THAT(attitude_, FieldsAre(-7, -8, -9));
    testing_support::put(input_.node(), "");
    EXPECT_EQ(query(), "nothing");
}

}  // namespace
