// SPDX-License-Identifier: MIT
#include "sensors/input_axis.h"

#include <fcntl.h>
#include <gmock/gmock.h>

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

class InputAxisActs : public FilesTest {
protected:
    const std::string node_ = directory_ / "event0";
    DeviceFile file_ = DeviceFile(node_);
};

TEST_F(InputAxis, RequestIsThatOfTheAxis) {
    input_.values = {{0x80184540, 10}, {0x80184541, -20}, {0x80184542, INT_MAX}, {0x80184543, INT_MIN}};
    EXPECT_EQ(read_axis(file_, 0), 10);
    EXPECT_EQ(read_axis(file_, 1), -20);
    EXPECT_EQ(read_axis(file_, 2), INT_MAX);
    EXPECT_EQ(read_axis(file_, 3), INT_MIN);
    EXPECT_THAT(input_.requests(), ElementsAre(0x80184540, 0x80184541, 0x80184542, 0x80184543));
}

TEST_F(InputAxis, NodeIsOpenedOnceForReadingAndCloseOnExec) {
    input_.values = {{0x80184540, 1}, {0x80184543, 2}};
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

TEST_F(InputAxis, MissingNodeIsNoEntryAndIsNotCreated) {
    remove(input_.node());
    EXPECT_EQ(thrown([&] { read_axis(file_, 0); }), "system_error 2 No such file or directory");
    EXPECT_FALSE(exists(input_.node()));
    EXPECT_TRUE(input_.queries.empty());
}

TEST_F(InputAxis, FailedQueryIsItsErrorAndLeavesTheNodeOpen) {
    input_.error = ENODEV;
    EXPECT_EQ(thrown([&] { read_axis(file_, 0); }), "system_error 19 No such device");
    EXPECT_TRUE(file_.is_open());
    input_.values = {{0x80184540, 5}};
    EXPECT_EQ(read_axis(file_, 0), 5);
}

TEST_F(InputAxisActs, EventsAreNeverRead) {
    VELMOR_NEEDS_RECORDER();
    put(node_, "");
    const std::string query_x = "ioctl " + node_ + " 0x80184540";
    const std::string query_y = "ioctl " + node_ + " 0x80184541";
    const auto two_queries = [this] {
        DeviceFile file(node_);
        read_axis(file, 0);
        read_axis(file, 1);
    };
    expect_acts(recorder().answer(query_x, 0).answer(query_y, 0), two_queries,
                {"open " + node_ + " r", query_x, query_y, "close " + node_}, "nothing");
}

TEST_F(InputAxisActs, RefusedOpenIsItsError) {
    VELMOR_NEEDS_RECORDER();
    const std::string open = "open " + node_ + " r";
    const ChildResult child = run_in_child(recorder().fail(open, EACCES), [this] {
        const std::string failure = thrown([this] { read_axis(file_, 0); });
        return failure + (file_.is_open() ? ", and open" : ", and closed");
    });
    EXPECT_EQ(child.output, "system_error 13 Permission denied, and closed");
    EXPECT_THAT(child.acts, ElementsAre(open + " = EACCES"));
}

}  // namespace
