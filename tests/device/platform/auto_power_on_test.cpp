// SPDX-License-Identifier: MIT
#include "platform/auto_power_on.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "access/cancellation.h"
#include "stand_ins.h"
#include "support/device.h"
#include "velmor.h"

using testing::ElementsAre;
using testing::IsEmpty;
using Velmor::AutoPowerOn;
using namespace testing_support;

namespace {

constexpr char restart[] = "reboot 0xFEE1DEAD 0x28121969 0xA1B2C3D4 wdt";

void shutdown() {
    AutoPowerOn().shutdown();
}

// HAZARD: without the stand-ins these would restart the machine.
class AutoPowerOnTest : public stand_ins::Test {};

TEST_F(AutoPowerOnTest, ShutdownSyncsThenRestartsThenWaitsForever) {
    stand_ins::state.restart_result = 0;
    stand_ins::state.woken_by = 3;
    EXPECT_TRUE(stand_ins::is_woken(shutdown));
    EXPECT_THAT(stand_ins::state.calls, ElementsAre("sync", restart, "sleep 1", "sleep 1", "sleep 1"));
}

TEST_F(AutoPowerOnTest, AnyResultThatIsNotNegativeIsASuccess) {
    stand_ins::state.restart_result = 5;
    EXPECT_TRUE(stand_ins::is_woken(shutdown));
    EXPECT_THAT(stand_ins::state.calls, ElementsAre("sync", restart, "sleep 1"));
}

TEST_F(AutoPowerOnTest, RefusedRestartIsItsError) {
    for (const int error : {EPERM, EINVAL}) {
        stand_ins::reset();
        stand_ins::state.restart_error = error;
        EXPECT_EQ(thrown(shutdown), system_error(error));
        EXPECT_THAT(stand_ins::state.calls, ElementsAre("sync", restart));
    }
}

TEST_F(AutoPowerOnTest, ShutdownRunsNoProgram) {
    testing_support::remove("/sbin/poweroff");
    EXPECT_EQ(thrown(shutdown), system_error(EPERM));
}

TEST_F(AutoPowerOnTest, RebootAndSuspendAreThoseOfPower) {
    testing_support::remove("/sbin/reboot");
    EXPECT_EQ(thrown([] { AutoPowerOn().reboot(); }), system_error(ENOENT));
    AutoPowerOn().suspend();
    EXPECT_EQ(content("/sys/power/state"), "mem");
    EXPECT_THAT(stand_ins::state.calls, IsEmpty());
}

TEST_F(AutoPowerOnTest, ThreadCanBeCancelledInTheEndlessWait) {
    stand_ins::state.restart_result = 0;
    EXPECT_TRUE(stand_ins::is_cancelled([] {
        const Velmor::CancellationOff off;
        shutdown();
    }));
}

TEST_F(AutoPowerOnTest, ExportedShutdownReturnsMinusTheError) {
    EXPECT_THAT(run_in_child(call(power_shutdown)),
                returns(fails_with(EPERM), failed("power_shutdown", "Operation not permitted")));
}

TEST_F(AutoPowerOnTest, ProcessLivesOnAfterACancelledShutdown) {
    stand_ins::state.restart_result = 0;
    const auto calls = [] { return stand_ins::is_cancelled(power_shutdown) ? call(power_suspend)() : "not cancelled"; };
    EXPECT_THAT(run_in_child(calls), returns(succeeds()));
}

}  // namespace
