// SPDX-License-Identifier: MIT
#include "sensors/antenna.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "support/device.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

using testing_support::content;
using testing_support::gpio;
using testing_support::Outcome;
using testing_support::put;
using testing_support::Recorder;
using testing_support::thrown;
using Velmor::Antenna;

namespace {

class AntennaTest : public testing_support::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        testing_support::put_gpio_line(37, "0\n");
        put(gpio(37, "direction"), "in\n");
    }
};

TEST_F(AntennaTest, ConstructionTouchesNothing) {
    testing_support::remove("/sys/class/gpio");
    EXPECT_EQ(thrown([] { Antenna(37); }), "nothing");
    EXPECT_FALSE(testing_support::exists("/sys/class/gpio"));
}

TEST_F(AntennaTest, SetDrivesTheLineAsAnOutput) {
    Antenna(37).set(1);
    EXPECT_EQ(content(gpio("export")), "37");
    EXPECT_EQ(content(gpio(37, "direction")), "out");
    EXPECT_EQ(content(gpio(37, "value")), "1");
    EXPECT_EQ(content(gpio("unexport")), "37");
}

TEST_F(AntennaTest, NumbersArePassedThrough) {
    for (const char* value : {"0", "5", "-1", "2147483647", "-2147483648"}) {
        Antenna(37).set(std::stoi(value));
        EXPECT_EQ(content(gpio(37, "value")), value);
    }
}

TEST_F(AntennaTest, EverySetIsAWholeAccess) {
    VELMOR_NEEDS_RECORDER();
    const Outcome outcome = Recorder().run([] {
        Antenna(37).set(0);
        return 0;
    });
    EXPECT_EQ(outcome.acts, testing_support::set_gpio_acts(37, "0"));
}

TEST_F(AntennaTest, LineThatCannotBeWrittenIsAStreamFailure) {
    testing_support::remove("/sys/class/gpio/gpio37");
    EXPECT_EQ(thrown([] { Antenna(37).set(1); }), "stream failure");
    EXPECT_EQ(content(gpio("unexport")), "") << "its direction could not be set: it stays exported";
    testing_support::remove("/sys/class/gpio");
    EXPECT_EQ(thrown([] { Antenna(37).set(1); }), "stream failure");
}

TEST_F(AntennaTest, RefusedLevelGivesTheLineBack) {
    VELMOR_NEEDS_RECORDER();
    const Outcome outcome = Recorder().fail("write " + gpio(37, "value"), EPERM).run([] {
        return thrown([] { Antenna(37).set(1); }) == "stream failure" ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_EQ(content(gpio("unexport")), "37");
}

}  // namespace
