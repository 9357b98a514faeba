// SPDX-License-Identifier: MIT
#include "access/gpio.h"

#include <gmock/gmock.h>

#include "support/files.h"
#include "support/recorder.h"

using testing::ElementsAre;
using testing_support::Outcome;
using testing_support::Recorder;

namespace {

class GPIOTest : public testing::Test {
protected:
    void SetUp() override {
        testing_support::reset_device();
        testing_support::put("/sys/class/gpio/export", "");
        testing_support::put("/sys/class/gpio/unexport", "");
        testing_support::put("/sys/class/gpio/gpio37/direction", "");
        testing_support::put("/sys/class/gpio/gpio37/value", "0\n");
    }
};

TEST_F(GPIOTest, SetExportsSetsDirectionWritesLevelAndUnexports) {
    if (!Recorder::available()) GTEST_SKIP() << "acts are recorded on x86-64 only";
    const Outcome outcome = Recorder().run([] {
        Velmor::GPIO(37, "out").set(1);
        return 0;
    });
    EXPECT_THAT(outcome.acts,
                ElementsAre("open /sys/class/gpio/export w", "write /sys/class/gpio/export 37",
                            "close /sys/class/gpio/export", "open /sys/class/gpio/gpio37/direction w",
                            "write /sys/class/gpio/gpio37/direction out", "close /sys/class/gpio/gpio37/direction",
                            "open /sys/class/gpio/gpio37/value w", "write /sys/class/gpio/gpio37/value 1",
                            "close /sys/class/gpio/gpio37/value", "open /sys/class/gpio/unexport w",
                            "write /sys/class/gpio/unexport 37", "close /sys/class/gpio/unexport"));
}

}  // namespace
