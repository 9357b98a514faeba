// SPDX-License-Identifier: MIT
// The functions that act on the whole device.
//
// HAZARD: nothing in here may reach the machine. The programs are scripts of the tests' own at the device's paths, and
// the restart call is answered by the Recorder.

#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "support/acts.h"
#include "support/calls.h"
#include "support/device.h"
#include "support/fifo.h"
#include "support/files.h"
#include "support/forked.h"
#include "support/recorder.h"
#include "support/scenario.h"
#include "velmor.h"

using testing::ElementsAre;
using testing_support::ChildResult;
using testing_support::content;
using testing_support::exists;
using testing_support::failed;
using testing_support::no_longer_than;
using testing_support::put_program;
using testing_support::Recorder;
using testing_support::result_of;
using testing_support::run_in_child;
using testing_support::wait_until;

namespace fs = std::filesystem;

namespace {

constexpr char reboot_program[] = "/sbin/reboot";
constexpr char power_state[] = "/sys/power/state";

std::string reboot() {
    return result_of(power_reboot);
}

/** What a reboot, a suspend and a shutdown might touch. */
Recorder power_recorder() {
    return Recorder().watch({"/sbin/", "/dev/", "/sys/power/"});
}

class PowerFunctions : public testing_support::DeviceTest {
protected:
    static void expect_failed_reboot(const std::string& output, const std::string& cause) {
        const ChildResult child = run_in_child(reboot);
        EXPECT_EQ(child.output, output);
        EXPECT_EQ(child.error_text, failed("power_reboot", cause));
    }
};

// ---- power_reboot --------------------------------------------------------------------------------------------------

TEST_F(PowerFunctions, RebootReturnsTheExitCodeOfTheProgramNegated) {
    put_program(reboot_program, "exit 3");
    expect_failed_reboot("-3 errno 3", "No such process");
}

TEST_F(PowerFunctions, RebootWithoutTheProgramIsItsExecsErrno) {
    testing_support::remove(reboot_program);
    expect_failed_reboot("-2 errno 2", "No such file or directory");
}

TEST_F(PowerFunctions, RebootWithAProgramThatMayNotRunIsItsExecsErrno) {
    put_program(reboot_program, "exit 0");
    fs::permissions(reboot_program, fs::perms::owner_read);
    expect_failed_reboot("-13 errno 13", "Permission denied");
}

/** From here on the kernel refuses this process every other process; false where there are no such filters. */
bool refuse_processes() {
    // Load the number of the system call; these fail, the others pass. The sanitizers replace vfork() by a fork().
    constexpr auto jump_if_equal = std::uint16_t{BPF_JMP | BPF_JEQ | BPF_K};
    constexpr auto result = std::uint16_t{BPF_RET | BPF_K};
    std::vector<sock_filter> program = {{BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)}};
    for (const int number : {SYS_vfork, SYS_fork, SYS_clone, SYS_clone3}) {
        program.push_back({jump_if_equal, 0, 1, static_cast<unsigned>(number)});
        program.push_back({result, 0, 0, SECCOMP_RET_ERRNO | EAGAIN});
    }
    program.push_back({result, 0, 0, SECCOMP_RET_ALLOW});
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST_F(PowerFunctions, RebootWithoutAProcessForTheProgramIsTheKernelsErrno) {
    put_program(reboot_program, "echo ran >/sys/ran; exit 1");
    const ChildResult child = run_in_child([] {
        no_longer_than(20);
        return refuse_processes() ? reboot() : "no filters here";
    });
    if (child.output == "no filters here" && !Recorder::available())
        GTEST_SKIP() << "qemu-arm knows no filters of system calls: run this test in a native build";
    EXPECT_EQ(child.output, "-11 errno 11");
    EXPECT_EQ(child.error_text, failed("power_reboot", "Resource temporarily unavailable"));
    EXPECT_FALSE(exists("/sys/ran"));
}

TEST_F(PowerFunctions, RebootProgramGetsNoArguments) {
    put_program(reboot_program, "echo \"$0 $#\" >/sys/arguments; exit 1");
    EXPECT_EQ(run_in_child(reboot).output, "-1 errno 1");
    EXPECT_EQ(content("/sys/arguments"), "/sbin/reboot 0\n");
}

/** Plays a reboot that waits for the end of the system, until the program has left its mark and a while after. */
void expect_endless_reboot(const std::string& commands) {
    put_program(reboot_program, "echo $$ >/sys/started; " + commands);
    const ChildResult child = run_in_child([] {
        const pid_t caller = fork();
        if (caller == 0) {
            power_reboot();
            _exit(1);
        }
        wait_until([] { return exists("/sys/started") && content("/sys/started").ends_with('\n'); });
        usleep(1300000);  // longer than one of the naps in the endless wait
        int status = 0;
        const bool waits = waitpid(caller, &status, WNOHANG) == 0;
        kill(caller, SIGKILL);
        waitpid(caller, &status, 0);
        return std::string(waits ? "waits" : "has returned");
    });
    EXPECT_EQ(child.output, "waits");
    EXPECT_EQ(child.error_text, "");
}

TEST_F(PowerFunctions, SuccessfulRebootWaitsForTheEndOfTheSystem) {
    expect_endless_reboot("exit 0");
}

TEST_F(PowerFunctions, RebootProgramKilledByASignalCountsAsSuccess) {
    expect_endless_reboot("kill -KILL $$");
}

TEST_F(PowerFunctions, RebootStartsTheProgramAndNothingElse) {
    VELMOR_NEEDS_RECORDER();
    put_program(reboot_program, "exit 3");
    const ChildResult child = run_in_child(power_recorder(), reboot);
    EXPECT_EQ(child.output, "-3 errno 3");
    // The program's shell opens it as its script.
    ASSERT_FALSE(child.acts.empty());
    EXPECT_EQ(child.acts.front(), "exec /sbin/reboot");
    for (const std::string& act : child.acts) EXPECT_FALSE(act.starts_with("reboot ") || act == "sync") << act;
}

// ---- power_suspend -------------------------------------------------------------------------------------------------

TEST_F(PowerFunctions, SuspendWritesItsWordOnce) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child = run_in_child(power_recorder(), [] { return result_of(power_suspend); });
    EXPECT_EQ(child.output, "0");
    EXPECT_EQ(child.acts, testing_support::write_acts(power_state, "mem"));
}

TEST_F(PowerFunctions, SuspendThatTheKernelRefusesIsNotReported) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child = run_in_child(Recorder().fail("write /sys/power/state", EBUSY, 0),
                                           [] { return std::to_string(power_suspend()); });
    EXPECT_EQ(child.output, "0");
    EXPECT_EQ(child.error_text, "");
}

TEST_F(PowerFunctions, SuspendWithoutTheFileIsNotReported) {
    testing_support::remove("/sys/power");
    const ChildResult child = run_in_child([] { return std::to_string(power_suspend()); });
    EXPECT_EQ(child.output, "0");
    EXPECT_EQ(child.error_text, "");
    EXPECT_FALSE(exists(power_state));
}

// ---- power_shutdown ------------------------------------------------------------------------------------------------

constexpr char restart[] = "reboot 0xa1b2c3d4 wdt";

TEST_F(PowerFunctions, ShutdownSyncsAndAsksTheKernelForARestart) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child = run_in_child(power_recorder(), [] { return result_of(power_shutdown); });
    EXPECT_EQ(child.output, "-1 errno 1");
    EXPECT_EQ(child.error_text, failed("power_shutdown", "Operation not permitted"));
    EXPECT_THAT(child.acts, ElementsAre("sync", restart + std::string(" = EPERM")));
}

TEST_F(PowerFunctions, SuccessfulShutdownWaitsForTheEndOfTheSystem) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child = run_in_child(power_recorder().answer("reboot", 0), [] {
        alarm(2);  // the end of the system
        return result_of(power_shutdown);
    });
    EXPECT_EQ(testing_support::ending(child.wait_status), "signal " + std::to_string(SIGALRM));
    EXPECT_EQ(child.output, "");
    EXPECT_EQ(child.error_text, "");
    EXPECT_THAT(child.acts, ElementsAre("sync", restart));
}

}  // namespace
