// SPDX-License-Identifier: MIT
#include "sensors/input_axis.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <string>

#include "input_device.h"
#include "support/files_test.h"

using testing::ElementsAre;
using Velmor::DeviceFile;
using Velmor::read_axis;
using namespace testing_support;

namespace {

class InputAxis : public testing::Test {
protected:
    InputDevice input_;
    DeviceFile file_ = DeviceFile(input_.node());
};

using InputAxisActs = Recorded<OneFileTest>;

TEST_F(InputAxis, RequestIsThatOfTheAxis) {
    input_.values = {{axis_x, 10}, {axis_y, -20}, {axis_z, INT_MAX}, {axis_rx, INT_MIN}};
    EXPECT_EQ(read_axis(file_, 0), 10);
    EXPECT_EQ(read_axis(file_, 1), -20);
    EXPECT_EQ(read_axis(file_, 2), INT_MAX);
    EXPECT_EQ(read_axis(file_, 3), INT_MIN);
    EXPECT_THAT(input_.requests(), ElementsAre(axis_x, axis_y, axis_z, axis_rx));
}

TEST_F(InputAxis, NodeIsOpenedOnceForReadingAndCloseOnExec) {
    input_.values = {{axis_x, 1}, {axis_rx, 2}};
    EXPECT_FALSE(file_.is_open());
    read_axis(file_, 0);
    ASSERT_TRUE(file_.is_open());
    remove(input_.node());
    read_axis(file_, 3);
    read_axis(file_, 0);
    ASSERT_EQ(input_.queries.size(), 3U);
    for (const InputDevice::Query& query : input_.queries) {
        EXPECT_EQ(query.fd, input_.queries.front().fd);
        EXPECT_EQ(query.open_flags & (O_ACCMODE | O_APPEND | O_NONBLOCK | O_SYNC), O_RDONLY);
        EXPECT_EQ(query.descriptor_flags, FD_CLOEXEC);
    }
}

TEST_F(InputAxis, MissingNodeIsENOENTAndNotCreated) {
    remove(input_.node());
    EXPECT_EQ(thrown([&] { read_axis(file_, 0); }), system_error(ENOENT));
    EXPECT_FALSE(exists(input_.node()));
    EXPECT_TRUE(input_.queries.empty());
}

TEST_F(InputAxis, FailedQueryIsThrownAndLeavesTheNodeOpen) {
    input_.error = ENODEV;
    EXPECT_EQ(thrown([&] { read_axis(file_, 0); }), system_error(ENODEV));
    EXPECT_TRUE(file_.is_open());
    input_.values = {{axis_x, 5}};
    EXPECT_EQ(read_axis(file_, 0), 5);
}

TEST_F(InputAxisActs, EventsAreNeverRead) {
    put(path_, "");
    const std::string query_x = "ioctl " + path_ + " 0x80184540";
    const std::string query_y = "ioctl " + path_ + " 0x80184541";
    const auto two_queries = [this] {
        DeviceFile file(path_);
        read_axis(file, 0);
        read_axis(file, 1);
    };
    expect_acts(recorder().answer(query_x, 0).answer(query_y, 0), two_queries,
                {open_to_read_, query_x, query_y, close_});
}

TEST_F(InputAxisActs, FailedOpenIsThrownAndLeavesItClosed) {
    const auto query = [this] {
        DeviceFile file(path_);
        const std::string failure = thrown([&] { read_axis(file, 0); });
        return failure + (file.is_open() ? ", open" : ", closed");
    };
    expect_acts(recorder().fail(open_to_read_, EACCES), query, {open_to_read_ + " = EACCES"},
                system_error(EACCES) + ", closed");
}

}  // namespace
