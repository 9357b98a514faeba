// SPDX-License-Identifier: MIT
// The functions that act on the whole device. The acts of a suspend are in tests/record.
//
// HAZARD: no test here may affect the machine. The programs are the tests' own scripts at the device's paths, and the
// Recorder answers the restart call.

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <csignal>
#include <cstddef>
#include <filesystem>

#include "system/system_test.h"

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;
using namespace testing_support;

namespace fs = std::filesystem;

namespace {

constexpr char power_state[] = "/sys/power/state";

const Scenario reboot = call(power_reboot);
const Scenario suspend = call(power_suspend);
const Scenario shutdown = call(power_shutdown);

/** Records what a reboot, a suspend and a shutdown might touch. */
Recorder power_recorder() {
    return Recorder().watch({"/sbin/", "/dev/", "/sys/power/"});
}

auto fails_to_reboot(int error, const std::string& cause) {
    return returns(fails_with(error), failed("power_reboot", cause));
}

class PowerFunctions : public DeviceTest {};

// ---- power_reboot --------------------------------------------------------------------------------------------------

TEST_F(PowerFunctions, RebootReturnsTheExitCodeOfTheProgramNegated) {
    put_program(reboot_program, "exit 3");
    EXPECT_THAT(run_in_child(reboot), fails_to_reboot(3, "No such process"));
}

TEST_F(PowerFunctions, RebootWithoutTheProgramIsItsExecsErrno) {
    testing_support::remove(reboot_program);
    EXPECT_THAT(run_in_child(reboot), fails_to_reboot(ENOENT, "No such file or directory"));
}

TEST_F(PowerFunctions, RebootWithAProgramThatMayNotRunIsItsExecsErrno) {
    put_program(reboot_program, "exit 0");
    fs::permissions(reboot_program, fs::perms::owner_read);
    EXPECT_THAT(run_in_child(reboot), fails_to_reboot(EACCES, "Permission denied"));
}

/** From now on the kernel refuses this process any other process. Returns false if there are no such filters. */
bool refuse_processes() {
    // Load the number of the system call; these fail, all others pass. The sanitizers replace vfork() with a fork().
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
        GTEST_SKIP() << "qemu-arm does not support filters of system calls: run this test in a native build";
    EXPECT_THAT(child, fails_to_reboot(EAGAIN, "Resource temporarily unavailable"));
    EXPECT_FALSE(exists("/sys/ran"));
}

TEST_F(PowerFunctions, RebootProgramGetsNoArguments) {
    put_program(reboot_program, "echo \"$0 $#\" >/sys/arguments; exit 1");
    EXPECT_THAT(run_in_child(reboot), fails_to_reboot(1, "Operation not permitted"));
    EXPECT_EQ(content("/sys/arguments"), "/sbin/reboot 0\n");
}

/** A reboot with this program waits for the end of the system: the call is given a while after the program has run. */
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
    EXPECT_THAT(child, returns("waits"));
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
    EXPECT_THAT(child, fails_to_reboot(3, "No such process"));
    ASSERT_FALSE(child.acts.empty());
    EXPECT_EQ(child.acts.front(), "exec /sbin/reboot");  // the other acts are those of the program's shell
    EXPECT_THAT(child.acts, Not(Contains(AnyOf(StartsWith("reboot "), "sync"))));
}

// ---- power_suspend -------------------------------------------------------------------------------------------------

TEST_F(PowerFunctions, SuspendWithoutTheFileIsNotReported) {
    testing_support::remove("/sys/power");
    EXPECT_THAT(run_in_child(suspend), returns(success_that_leaves(ENOENT)));
    EXPECT_FALSE(exists(power_state));
}

// ---- power_shutdown ------------------------------------------------------------------------------------------------

constexpr char restart[] = "reboot 0xa1b2c3d4 wdt";

TEST_F(PowerFunctions, ShutdownSyncsAndRequestsARestart) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child = run_in_child(power_recorder(), shutdown);
    EXPECT_THAT(child, returns(fails_with(EPERM), failed("power_shutdown", "Operation not permitted")));
    EXPECT_THAT(child.acts, ElementsAre("sync", restart + std::string(" = EPERM")));
}

TEST_F(PowerFunctions, SuccessfulShutdownWaitsForTheEndOfTheSystem) {
    VELMOR_NEEDS_RECORDER();
    const ChildResult child = run_in_child(power_recorder().answer("reboot", 0), [] {
        alarm(2);  // stands for the end of the system
        return shutdown();
    });
    EXPECT_EQ(ending(child.wait_status), "signal " + std::to_string(SIGALRM));
    EXPECT_EQ(child.output, "");
    EXPECT_EQ(child.error_text, "");
    EXPECT_THAT(child.acts, ElementsAre("sync", restart));
}

}  // namespace
