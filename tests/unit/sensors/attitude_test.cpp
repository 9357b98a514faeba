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
using Velmor::Attitude;
using namespace testing_support;

namespace {

class AttitudeTest : public testing::Test {
protected:
    AttitudeTest() { input_.values = {{axis_x, 100}, {axis_y, -200}, {axis_z, 300}}; }

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
    EXPECT_THAT(input_.requests(), ElementsAre(axis_x, axis_y, axis_z));
}

TEST_F(AttitudeTest, LaterCallsUseTheOpenNode) {
    sensor_.get(attitude_);
    remove(input_.node());
    input_.values = {{axis_x, 4}, {axis_y, 5}, {axis_z, 6}};
    sensor_.get(attitude_);
    EXPECT_THAT(attitude_, FieldsAre(4, 5, 6));
    EXPECT_EQ(input_.queries.front().fd, input_.queries.back().fd);
}

TEST_F(AttitudeTest, FailureKeepsTheAxesBeforeIt) {
    input_.error = EIO;
    input_.values = {};
    EXPECT_EQ(query(), system_error(EIO));
    EXPECT_THAT(attitude_, FieldsAre(-7, -8, -9));
    input_.values = {{axis_x, 1}, {axis_z, 3}};
    EXPECT_EQ(query(), system_error(EIO));
    EXPECT_THAT(attitude_, FieldsAre(1, -8, -9));
    input_.values = {{axis_x, 4}, {axis_y, 5}};
    EXPECT_EQ(query(), system_error(EIO));
    EXPECT_THAT(attitude_, FieldsAre(4, 5, -9));
}

// Construction opens nothing, so the node may appear later.
TEST_F(AttitudeTest, MissingNodeIsENOENTAndIsOpenedOnceItAppears) {
    remove(input_.node());
    EXPECT_EQ(thrown([this] { Attitude(input_.node()); }), "nothing");
    EXPECT_EQ(query(), system_error(ENOENT));
    EXPECT_THAT(attitude_, FieldsAre(-7, -8, -9));
    put(input_.node(), "");
    EXPECT_EQ(query(), "nothing");
}

}  // namespace
