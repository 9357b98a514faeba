// SPDX-License-Identifier: MIT
#include "platform/power.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "access/cancellation.h"
#include "stand_ins.h"
#include "support/device.h"
#include "velmor.h"

using testing::ElementsAre;
using testing::IsEmpty;
using Velmor::CancellationOff;
using Velmor::Power;
using namespace testing_support;

namespace fs = std::filesystem;

namespace {

constexpr char state_file[] = "/sys/power/state";

struct Operation {
    std::string program;
    void (*run)(Power& power);

    std::string failure() const {
        return thrown([this] {
            Power power;
            run(power);
        });
    }
};

const Operation reboot_call = {"/sbin/reboot", [](Power& power) { power.reboot(); }};
const Operation shutdown_call = {"/sbin/poweroff", [](Power& power) { power.shutdown(); }};

class PowerTest : public stand_ins::Test {
protected:
    static void expect_endless_wait(const Operation& operation) {
        stand_ins::reset();
        stand_ins::state.woken_by = 3;
        EXPECT_TRUE(stand_ins::is_woken([&] { operation.failure(); })) << operation.program;
        EXPECT_THAT(stand_ins::state.calls, ElementsAre("sleep 1", "sleep 1", "sleep 1")) << operation.program;
    }
};

TEST_F(PowerTest, RunsItsProgramAndWaitsForever) {
    for (const Operation& each : {reboot_call, shutdown_call}) put_program(each.program, "echo \"$0 $#\" >/sys/ran");
    for (const Operation& each : {reboot_call, shutdown_call}) {
        expect_endless_wait(each);
        EXPECT_EQ(content("/sys/ran"), each.program + " 0\n");
    }
}

TEST_F(PowerTest, ProgramKilledByASignalCountsAsSuccess) {
    put_program(reboot_call.program, "kill -KILL $$");
    expect_endless_wait(reboot_call);
}

TEST_F(PowerTest, ProgramThatIsMissingIsNoEntry) {
    for (const Operation& each : {reboot_call, shutdown_call}) {
        remove(each.program);
        EXPECT_EQ(each.failure(), system_error(ENOENT));
    }
    EXPECT_THAT(stand_ins::state.calls, IsEmpty());
}

TEST_F(PowerTest, ProgramThatMayNotBeExecutedIsAccessDenied) {
    fs::permissions(reboot_call.program, fs::perms::owner_read);
    EXPECT_EQ(reboot_call.failure(), system_error(EACCES));
}

TEST_F(PowerTest, ExitCodeOfTheProgramIsTheError) {
    put_program(reboot_call.program, "exit 1");
    put_program(shutdown_call.program, "exit 3");
    EXPECT_EQ(reboot_call.failure(), system_error(1));
    EXPECT_EQ(shutdown_call.failure(), system_error(3));
    EXPECT_THAT(stand_ins::state.calls, IsEmpty());
}

TEST_F(PowerTest, ProgramsAreRunByAnOverriddenRunProgram) {
    struct Refusing : Power {
        void run_program(const std::string& path) override { throw std::invalid_argument(path); }
    };
    for (const Operation& each : {reboot_call, shutdown_call}) {
        Refusing power;
        EXPECT_EQ(thrown([&] { each.run(power); }), "invalid_argument " + each.program);
    }
}

TEST_F(PowerTest, SuspendWritesThreeCharacters) {
    put(state_file, "freeze mem disk\n");
    Power().suspend();
    EXPECT_EQ(content(state_file), "mem");
}

TEST_F(PowerTest, SuspendReportsNoFailure) {
    testing_support::remove("/sys/power");
    EXPECT_EQ(thrown([] { Power().suspend(); }), "nothing");
    fs::create_directory("/sys/power");
    fs::create_symlink("/dev/full", state_file);
    EXPECT_EQ(thrown([] { Power().suspend(); }), "nothing");
}

TEST_F(PowerTest, SuspendIsOneWrite) {
    VELMOR_NEEDS_RECORDER();
    const std::string write = std::string("write ") + state_file;
    expect_acts([] { Power().suspend(); }, write_acts(state_file, "mem"));
    Acts refused = write_acts(state_file, "mem");
    refused[1] += " = EBUSY";
    expect_acts(
        Recorder().fail(write, EBUSY), [] { Power().suspend(); }, refused, "nothing");
}

TEST_F(PowerTest, ThreadCanBeCancelledInTheEndlessWait) {
    EXPECT_TRUE(stand_ins::is_cancelled([] {
        const CancellationOff off;
        Power().reboot();
    }));
}

TEST_F(PowerTest, ThreadOfAsynchronousCancellationCanBeCancelledThereToo) {
    EXPECT_TRUE(stand_ins::is_cancelled([] {
        pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
        const CancellationOff off;
        Power().reboot();
    }));
}

TEST_F(PowerTest, ThreadThatLetsNobodyCancelItIsNotCancelled) {
    EXPECT_FALSE(stand_ins::is_cancelled([] {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
        const CancellationOff off;
        Power().reboot();
    }));
}

// ---- The exported functions ----------------------------------------------------------------------------------------

TEST_F(PowerTest, RebootReturnsMinusTheErrorOfItsProgram) {
    put_program(reboot_call.program, "exit 3");
    EXPECT_THAT(run_in_child(call(power_reboot)),
                returns(fails_with(ESRCH), failed("power_reboot", "No such process")));
    remove(reboot_call.program);
    EXPECT_THAT(run_in_child(call(power_reboot)),
                returns(fails_with(ENOENT), failed("power_reboot", "No such file or directory")));
}

TEST_F(PowerTest, SuspendThatCannotBeWrittenSucceeds) {
    testing_support::remove("/sys/power");
    EXPECT_THAT(run_in_child(call(power_suspend)), returns(success_that_leaves(ENOENT)));
}

TEST_F(PowerTest, ProcessLivesOnAfterACancelledReboot) {
    const auto calls = [] { return stand_ins::is_cancelled(power_reboot) ? call(power_suspend)() : "not cancelled"; };
    EXPECT_THAT(run_in_child(calls), returns(succeeds()));
}

}  // namespace
