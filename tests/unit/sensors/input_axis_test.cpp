// SPDX-License-Identifier: MIT
#include "sensors/input_axis.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <climits>
#include <string>

#include "input_device.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing_support::Outcome;
using testing_support::Recorder;
using testing_support::thrown;
using Velmor::DeviceFile;
using Velmor::read_axis;

namespace {

TEST(InputAxis, RequestIsThatOfTheAxis) {
    InputDevice input;
    input.values = {{0x80184540, 10}, {0x80184541, -20}, {0x80184542, INT_MAX}, {0x80184543, INT_MIN}};
    DeviceFile file(input.node());
    EXPECT_EQ(read_axis(file, 0), 10);
    EXPECT_EQ(read_axis(file, 1), -20);
    EXPECT_EQ(read_axis(file, 2), INT_MAX);
    EXPECT_EQ(read_axis(file, 3), INT_MIN);
    EXPECT_THAT(input.requests(), ElementsAre(0x80184540, 0x80184541, 0x80184542, 0x80184543));
}

TEST(InputAxis, NodeIsOpenedOnceForReadingAndCloseOnExec) {
    InputDevice input;
    input.values = {{0x80184540, 1}, {0x80184543, 2}};
    DeviceFile file(input.node());
    EXPECT_FALSE(file.is_open());
    read_axis(file, 0);
    ASSERT_TRUE(file.is_open());
    testing_support::remove(input.node());
    read_axis(file, 3);
    read_axis(file, 0);
    ASSERT_EQ(input.queries.size(), 3U);
    for (const InputDevice::Query& query : input.queries) {
        EXPECT_EQ(query.fd, input.queries.front().fd);
        EXPECT_EQ(query.open_flags & (O_ACCMODE | O_APPEND | O_NONBLOCK | O_SYNC), O_RDONLY);
        EXPECT_EQ(query.descriptor_flags, FD_CLOEXEC);
    }
}

TEST(InputAxis, MissingNodeIsNoEntryAndIsNotCreated) {
    const InputDevice input;
    testing_support::remove(input.node());
    DeviceFile file(input.node());
    EXPECT_EQ(thrown([&] { read_axis(file, 0); }), "system_error 2 No such file or directory");
    EXPECT_FALSE(testing_support::exists(input.node()));
    EXPECT_TRUE(input.queries.empty());
}

TEST(InputAxis, FailedQueryIsItsErrorAndLeavesTheNodeOpen) {
    InputDevice input;
    input.error = ENODEV;
    DeviceFile file(input.node());
    EXPECT_EQ(thrown([&] { read_axis(file, 0); }), "system_error 19 No such device");
    EXPECT_TRUE(file.is_open());
    input.values = {{0x80184540, 5}};
    EXPECT_EQ(read_axis(file, 0), 5);
}

TEST(InputAxis, EventsAreNeverRead) {
    VELMOR_NEEDS_RECORDER();
    const testing_support::TemporaryDirectory directory;
    const std::string node = directory / "event0";
    testing_support::put(node, "");
    const Outcome outcome = Recorder()
                                .watch({node})
                                .answer("ioctl " + node + " 0x80184540", 0)
                                .answer("ioctl " + node + " 0x80184541", 0)
                                .run([&node] {
                                    DeviceFile file(node);
                                    read_axis(file, 0);
                                    read_axis(file, 1);
                                    return 0;
                                });
    EXPECT_THAT(outcome.acts, ElementsAre("open " + node + " r", "ioctl " + node + " 0x80184540",
                                          "ioctl " + node + " 0x80184541", "close " + node));
}

TEST(InputAxis, RefusedOpenIsItsError) {
    VELMOR_NEEDS_RECORDER();
    const testing_support::TemporaryDirectory directory;
    const std::string node = directory / "event0";
    const Outcome outcome = Recorder().watch({node}).fail("open " + node + " r", EACCES).run([&node] {
        DeviceFile file(node);
        return thrown([&] { read_axis(file, 0); }) == "system_error 13 Permission denied" && !file.is_open() ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.acts, ElementsAre("open " + node + " r = EACCES"));
}

}  // namespace
