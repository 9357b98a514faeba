// SPDX-License-Identifier: MIT
#include "sensors/antenna.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::Outcome;
using testing_support::put;
using testing_support::Recorder;
using testing_support::thrown;
using Velmor::Antenna;

namespace {

class AntennaTest : public testing::Test {
protected:
    void SetUp() override {
        testing_support::reset_device();
        put("/sys/class/gpio/export", "");
        put("/sys/class/gpio/unexport", "");
        put("/sys/class/gpio/gpio37/direction", "in\n");
        put("/sys/class/gpio/gpio37/value", "0\n");
    }
};

TEST_F(AntennaTest, ConstructionTouchesNothing) {
    testing_support::remove("/sys/class/gpio");
    EXPECT_EQ(thrown([] { Antenna(37); }), "nothing");
    EXPECT_FALSE(testing_support::exists("/sys/class/gpio"));
}

TEST_F(AntennaTest, SetDrivesTheLineAsAnOutput) {
    Antenna(37).set(1);
    EXPECT_EQ(content("/sys/class/gpio/export"), "37");
    EXPECT_EQ(content("/sys/class/gpio/gpio37/direction"), "out");
    EXPECT_EQ(content("/sys/class/gpio/gpio37/value"), "1");
    EXPECT_EQ(content("/sys/class/gpio/unexport"), "37");
}

TEST_F(AntennaTest, NumbersArePassedThrough) {
    for (const char* value : {"0", "5", "-1", "2147483647", "-2147483648"}) {
        Antenna(37).set(std::stoi(value));
        EXPECT_EQ(content("/sys/class/gpio/gpio37/value"), value);
    }
}

TEST_F(AntennaTest, EverySetIsAWholeAccess) {
    VELMOR_NEEDS_RECORDER();
    const Outcome outcome = Recorder().run([] {
        Antenna(37).set(0);
        return 0;
    });
    EXPECT_THAT(outcome.acts,
                ElementsAre("open /sys/class/gpio/export w", "write /sys/class/gpio/export 37",
                            "close /sys/class/gpio/export", "open /sys/class/gpio/gpio37/direction w",
                            "write /sys/class/gpio/gpio37/direction out", "close /sys/class/gpio/gpio37/direction",
                            "open /sys/class/gpio/gpio37/value w", "write /sys/class/gpio/gpio37/value 0",
                            "close /sys/class/gpio/gpio37/value", "open /sys/class/gpio/unexport w",
                            "write /sys/class/gpio/unexport 37", "close /sys/class/gpio/unexport"));
}

TEST_F(AntennaTest, LineThatCannotBeWrittenIsAStreamFailure) {
    testing_support::remove("/sys/class/gpio/gpio37");
    EXPECT_EQ(thrown([] { Antenna(37).set(1); }), "stream failure");
    EXPECT_EQ(content("/sys/class/gpio/unexport"), "") << "its direction could not be set: it stays exported";
    testing_support::remove("/sys/class/gpio");
    EXPECT_EQ(thrown([] { Antenna(37).set(1); }), "stream failure");
}

TEST_F(AntennaTest, RefusedLevelGivesTheLineBack) {
    VELMOR_NEEDS_RECORDER();
    Recorder recorder;
    recorder.fail("write /sys/class/gpio/gpio37/value", EPERM);
    const Outcome outcome = recorder.run([] { return thrown([] { Antenna(37).set(1); }) == "stream failure" ? 1 : 0; });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(content("/sys/class/gpio/unexport"), "37");
}

}  // namespace
