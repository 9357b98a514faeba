// SPDX-License-Identifier: MIT
#include "platform/power.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "access/cancellation.h"
#include "stand_ins.h"
#include "support/acts.h"
#include "support/device.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"
#include "velmor.h"
#include "waiting_thread.h"

using testing::IsEmpty;
using testing_support::content;
using testing_support::expect_call;
using testing_support::in_order;
using testing_support::Outcome;
using testing_support::put;
using testing_support::put_program;
using testing_support::Recorder;
using testing_support::run_unrecorded;
using testing_support::thrown;
using testing_support::write_acts;
using Velmor::Power;

namespace {

class PowerTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing_support::on_device()) << "HAZARD: run this through tests/plain-files";
        testing_support::reset_device();
        ASSERT_TRUE(stand_ins::reset());
    }

    /** Whether the code has come to the endless wait, three sleeps of one second. */
    template <typename Code>
    static bool waits_forever(Code code) {
        stand_ins::state.woken_by = 3;
        try {
            code();
        } catch (const stand_ins::Woken&) {
            return stand_ins::state.calls == std::vector<std::string>(3, "sleep 1");
        }
        return false;
    }
};

TEST_F(PowerTest, RebootRunsItsProgramAndWaitsForever) {
    put_program("/sbin/reboot", "echo reboot $# >/sys/ran");
    put_program("/sbin/poweroff", "echo poweroff >/sys/ran");
    EXPECT_TRUE(waits_forever([] { Power().reboot(); }));
    EXPECT_EQ(content("/sys/ran"), "reboot 0\n");
}

TEST_F(PowerTest, ShutdownRunsItsProgramAndWaitsForever) {
    put_program("/sbin/reboot", "echo reboot >/sys/ran");
    put_program("/sbin/poweroff", "echo poweroff $# >/sys/ran");
    EXPECT_TRUE(waits_forever([] { Power().shutdown(); }));
    EXPECT_EQ(content("/sys/ran"), "poweroff 0\n");
}

TEST_F(PowerTest, ProgramKilledByASignalCountsAsSuccess) {
    put_program("/sbin/reboot", "kill -KILL $$");
    EXPECT_TRUE(waits_forever([] { Power().reboot(); }));
}

TEST_F(PowerTest, MissingProgramIsNoEntry) {
    testing_support::remove("/sbin/reboot");
    testing_support::remove("/sbin/poweroff");
    EXPECT_EQ(thrown([] { Power().reboot(); }), "system_error 2 No such file or directory");
    EXPECT_EQ(thrown([] { Power().shutdown(); }), "system_error 2 No such file or directory");
    EXPECT_THAT(stand_ins::state.calls, IsEmpty());
}

TEST_F(PowerTest, ProgramThatMayNotBeExecutedIsAccessDenied) {
    std::filesystem::permissions("/sbin/reboot", std::filesystem::perms::owner_read);
    EXPECT_EQ(thrown([] { Power().reboot(); }), "system_error 13 Permission denied");
}

TEST_F(PowerTest, ExitCodeOfTheProgramIsTheError) {
    put_program("/sbin/reboot", "exit 1");
    put_program("/sbin/poweroff", "exit 3");
    EXPECT_EQ(thrown([] { Power().reboot(); }), "system_error 1 Operation not permitted");
    EXPECT_EQ(thrown([] { Power().shutdown(); }), "system_error 3 No such process");
    EXPECT_THAT(stand_ins::state.calls, IsEmpty());
}

TEST_F(PowerTest, ProgramsAreRunThroughAnOverriddenRunProgram) {
    struct Noting : Power {
        void run_program(const std::string& path) override { throw std::invalid_argument(path); }
    };
    EXPECT_EQ(thrown([] { Noting().reboot(); }), "invalid_argument /sbin/reboot");
    EXPECT_EQ(thrown([] { Noting().shutdown(); }), "invalid_argument /sbin/poweroff");
}

TEST_F(PowerTest, SuspendWritesThreeCharacters) {
    put("/sys/power/state", "freeze mem disk\n");
    Power().suspend();
    EXPECT_EQ(content("/sys/power/state"), "mem");
}

TEST_F(PowerTest, SuspendReportsNoFailure) {
    testing_support::remove("/sys/power");
    EXPECT_EQ(thrown([] { Power().suspend(); }), "nothing");
    std::filesystem::create_directory("/sys/power");
    std::filesystem::create_symlink("/dev/full", "/sys/power/state");
    EXPECT_EQ(thrown([] { Power().suspend(); }), "nothing");
}

TEST_F(PowerTest, SuspendIsOneWrite) {
    VELMOR_NEEDS_RECORDER();
    Recorder recorder;
    recorder.fail("write /sys/power/state", EBUSY, 2);
    const Outcome outcome = recorder.run([] {
        Power().suspend();
        return thrown([] { Power().suspend(); }) == "nothing" ? 1 : 0;
    });
    EXPECT_EQ(outcome.result, 1);
    testing_support::Acts expected =
        in_order({write_acts("/sys/power/state", "mem"), write_acts("/sys/power/state", "mem")});
    expected[4] += " = EBUSY";
    EXPECT_EQ(outcome.acts, expected);
}

TEST_F(PowerTest, ThreadCanBeCancelledInTheEndlessWait) {
    const WaitingThread thread([] {
        const Velmor::CancellationOff off;
        Power().reboot();
    });
    EXPECT_TRUE(thread.ends_by_cancellation());
}

TEST_F(PowerTest, ThreadOfAsynchronousCancellationCanBeCancelledThereToo) {
    const WaitingThread thread([] {
        pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
        const Velmor::CancellationOff off;
        Power().reboot();
    });
    EXPECT_TRUE(thread.ends_by_cancellation());
}

TEST_F(PowerTest, ThreadThatLetsNobodyCancelItIsNotCancelled) {
    const WaitingThread thread([] {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        const Velmor::CancellationOff off;
        Power().reboot();
    });
    EXPECT_FALSE(thread.ends_by_cancellation());
}

// ---- The exported functions. In processes of their own: a board that has started stays.

TEST_F(PowerTest, RebootReturnsMinusTheErrorOfItsProgram) {
    put_program("/sbin/reboot", "exit 3");
    expect_call(power_reboot, -3, 3, "power_reboot failed: No such process\n");
    testing_support::remove("/sbin/reboot");
    expect_call(power_reboot, -2, 2, "power_reboot failed: No such file or directory\n");
}

TEST_F(PowerTest, SuspendReturnsZeroEvenWhereItCannotBeWritten) {
    testing_support::remove("/sys/power");
    const Outcome outcome = run_unrecorded(power_suspend);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, "");
}

TEST_F(PowerTest, ProcessLivesOnAfterACancelledReboot) {
    const Outcome outcome = run_unrecorded([] {
        const WaitingThread thread([] { power_reboot(); });
        if (!thread.ends_by_cancellation()) return -100;
        return power_suspend();
    });
    EXPECT_EQ(outcome.wait_status, 0);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error_text, "");
}

}  // namespace
