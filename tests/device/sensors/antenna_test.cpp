// SPDX-License-Identifier: MIT
#include "sensors/antenna.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "support/device.h"

using Velmor::Antenna;
using namespace testing_support;

namespace {

void set() {
    Antenna(37).set(1);
}

class AntennaTest : public DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        put_gpio_line(37, "0\n");
        put(gpio(37, "direction"), "in\n");
    }
};

TEST_F(AntennaTest, ConstructionTouchesNoFile) {
    testing_support::remove("/sys/class/gpio");
    EXPECT_EQ(thrown([] { Antenna(37); }), "nothing");
    EXPECT_FALSE(exists("/sys/class/gpio"));
}

TEST_F(AntennaTest, SetDrivesTheLineAsAnOutput) {
    set();
    EXPECT_EQ(content(gpio("export")), "37");
    EXPECT_EQ(content(gpio(37, "direction")), "out");
    EXPECT_EQ(content(gpio(37, "value")), "1");
    EXPECT_EQ(content(gpio("unexport")), "37");
}

TEST_F(AntennaTest, NumberIsPassedOnUnchecked) {
    for (const char* value : {"0", "5", "-1", "2147483647", "-2147483648"}) {
        Antenna(37).set(std::stoi(value));
        EXPECT_EQ(content(gpio(37, "value")), value);
    }
}

TEST_F(AntennaTest, SetIsOneAccessToTheLine) {
    VELMOR_NEEDS_RECORDER();
    expect_acts([] { Antenna(37).set(0); }, set_gpio_acts(37, "0"));
}

TEST_F(AntennaTest, LineThatCannotBeWrittenIsAStreamFailure) {
    testing_support::remove("/sys/class/gpio/gpio37");
    EXPECT_EQ(thrown(set), "stream failure");
    EXPECT_EQ(content(gpio("unexport")), "") << "a line whose direction could not be set stays exported";
    testing_support::remove("/sys/class/gpio");
    EXPECT_EQ(thrown(set), "stream failure");
}

TEST_F(AntennaTest, LineWhoseLevelIsRefusedIsUnexported) {
    VELMOR_NEEDS_RECORDER();
    Acts acts = set_gpio_acts(37, "1");
    acts[7] += " = EPERM";
    expect_acts(Recorder().fail("write " + gpio(37, "value"), EPERM), set, acts, "stream failure");
}

}  // namespace
