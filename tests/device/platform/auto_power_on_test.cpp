// SPDX-License-Identifier: MIT
#include "platform/auto_power_on.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "access/cancellation.h"
#include "stand_ins.h"
#include "support/device.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"
#include "velmor.h"
#include "waiting_thread.h"

using testing::ElementsAre;
using testing_support::content;
using testing_support::Outcome;
using testing_support::run_unrecorded;
using testing_support::thrown;
using Velmor::AutoPowerOn;

namespace {

constexpr char restart[] = "reboot 0xFEE1DEAD 0x28121969 0xA1B2C3D4 wdt";

// HAZARD: without the stand-ins these would restart the machine.
class AutoPowerOnTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing_support::on_device()) << "HAZARD: run this through tests/plain-files";
        testing_support::reset_device();
        ASSERT_TRUE(stand_ins::reset());
    }

    static bool shutdown_is_woken() {
        try {
            AutoPowerOn().shutdown();
        } catch (const stand_ins::Woken&) {
            return true;
        }
        return false;
    }
};

TEST_F(AutoPowerOnTest, ShutdownSyncsThenRestartsThenWaitsForever) {
    stand_ins::state.restart_result = 0;
    stand_ins::state.woken_by = 3;
    EXPECT_TRUE(shutdown_is_woken());
    EXPECT_THAT(stand_ins::state.calls, ElementsAre("sync", restart, "sleep 1", "sleep 1", "sleep 1"));
}

TEST_F(AutoPowerOnTest, AnyResultThatIsNotNegativeIsWaitedOn) {
    stand_ins::state.restart_result = 5;
    stand_ins::state.woken_by = 1;
    EXPECT_TRUE(shutdown_is_woken());
    EXPECT_THAT(stand_ins::state.calls, ElementsAre("sync", restart, "sleep 1"));
}

TEST_F(AutoPowerOnTest, RefusedRestartIsItsError) {
    for (const auto& [error, text] : {std::pair(EPERM, "system_error 1 Operation not permitted"),
                                      std::pair(EINVAL, "system_error 22 Invalid argument")}) {
        stand_ins::reset();
        stand_ins::state.restart_error = error;
        EXPECT_EQ(thrown([] { AutoPowerOn().shutdown(); }), text);
        EXPECT_THAT(stand_ins::state.calls, ElementsAre("sync", restart));
    }
}

TEST_F(AutoPowerOnTest, ShutdownRunsNoProgram) {
    testing_support::remove("/sbin/poweroff");
    EXPECT_EQ(thrown([] { AutoPowerOn().shutdown(); }), "system_error 1 Operation not permitted");
}

TEST_F(AutoPowerOnTest, RebootAndSuspendAreThoseOfPower) {
    testing_support::remove("/sbin/reboot");
    EXPECT_EQ(thrown([] { AutoPowerOn().reboot(); }), "system_error 2 No such file or directory");
    AutoPowerOn().suspend();
    EXPECT_EQ(content("/sys/power/state"), "mem");
    EXPECT_TRUE(stand_ins::state.calls.empty());
}

TEST_F(AutoPowerOnTest, ThreadCanBeCancelledInTheEndlessWait) {
    stand_ins::state.restart_result = 0;
    const WaitingThread thread([] {
        const Velmor::CancellationOff off;
        AutoPowerOn().shutdown();
    });
    EXPECT_TRUE(thread.ends_by_cancellation());
}

TEST_F(AutoPowerOnTest, ExportedShutdownReturnsMinusTheError) {
    testing_support::expect_call(power_shutdown, -1, 1, "power_shutdown failed: Operation not permitted\n");
}

TEST_F(AutoPowerOnTest, ProcessLivesOnAfterACancelledShutdown) {
    const Outcome outcome = run_unrecorded([] {
        stand_ins::state.restart_result = 0;
        const WaitingThread thread([] { power_shutdown(); });
        if (!thread.ends_by_cancellation()) return -100;
        return power_suspend();
    });
    EXPECT_EQ(outcome.wait_status, 0);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, "");
}

}  // namespace
