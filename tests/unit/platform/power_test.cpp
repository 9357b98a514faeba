// SPDX-License-Identifier: MIT
#include "platform/power.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "access/cancellation.h"
#include "support/files_test.h"

namespace fs = std::filesystem;
using testing::StartsWith;
using namespace testing_support;

namespace {

/** What it throws. */
std::string running(const std::string& program) {
    return thrown([&] { Velmor::Power().run_program(program); });
}

class PowerRunProgram : public FilesTest {
protected:
    const std::string& program(const std::string& text, fs::perms permissions = fs::perms::owner_all) {
        put(program_, text);
        fs::permissions(program_, permissions);
        return program_;
    }

    const std::string& script(const std::string& body) { return program("#!/bin/sh\n" + body + "\n"); }

    /** A script that writes its process ID to the file "pid" first. */
    const std::string& script_with_pid(const std::string& body) {
        return script("echo $$ >" + directory_ / "new" + " && mv " + directory_ / "new" + " " + directory_ / "pid" +
                      "\n" + body);
    }

    /** Waits until the script runs. */
    int pid_of_script() {
        for (int i = 0; i < 10000 && !exists(directory_ / "pid"); ++i) usleep(1000);
        return std::stoi(content(directory_ / "pid"));
    }

    const std::string program_ = directory_ / "program";
};

TEST_F(PowerRunProgram, WaitsForTheProgramToEnd) {
    const std::string end = directory_ / "end";
    EXPECT_EQ(running(script("sleep 0.2; echo over >" + end)), "nothing");
    EXPECT_EQ(content(end), "over\n");
}

TEST_F(PowerRunProgram, ExitCodeIsTheError) {
    EXPECT_EQ(running(script("exit 0")), "nothing");
    EXPECT_EQ(running(script("exit 1")), system_error(1));
    EXPECT_EQ(running(script("exit 3")), system_error(3));
    EXPECT_EQ(running(script("exit 255")), system_error(255));
    // Being killed by a signal counts as success.
    EXPECT_EQ(running(script("kill -KILL $$")), "nothing");
    EXPECT_EQ(running(script("kill -TERM $$")), "nothing");
}

TEST_F(PowerRunProgram, ProgramThatTheKernelCannotExecuteIsTheErrno) {
    EXPECT_EQ(running(directory_ / "none"), system_error(ENOENT));
    EXPECT_EQ(running(program("#!/bin/sh\n", fs::perms::owner_read)), system_error(EACCES));
    EXPECT_EQ(running(directory_.path()), system_error(EACCES));
    // A file without an interpreter is not given to a shell, and PATH is not searched.
    EXPECT_EQ(running(program("exit 0\n")), system_error(ENOEXEC));
    EXPECT_EQ(running("true"), system_error(ENOENT));
}

TEST_F(PowerRunProgram, PathIsTheOnlyArgument) {
    // The system's sleep prints the name it was called by and that it has no operand.
    fs::create_symlink("/bin/sleep", program_);
    setenv("LC_ALL", "C", 1);
    const ChildResult child = run_in_child([&] { return running(program_); });
    EXPECT_EQ(child.output, system_error(1));
    EXPECT_THAT(child.error_text, StartsWith(program_ + ": missing operand\n"));
}

TEST_F(PowerRunProgram, EnvironmentIsInherited) {
    const std::string output = directory_ / "output";
    setenv("VELMOR_TEST_VARIABLE", "the application's", 1);
    EXPECT_EQ(running(script("echo \"$# $VELMOR_TEST_VARIABLE\" >" + output)), "nothing");
    unsetenv("VELMOR_TEST_VARIABLE");
    EXPECT_EQ(content(output), "0 the application's\n");
}

TEST_F(PowerRunProgram, NoChildIsLeftBehind) {
    const ChildResult child = run_in_child([&] {
        return joined({running(script("exit 3")), running(directory_ / "none"),
                       answer([] { return waitpid(-1, nullptr, WNOHANG); })});
    });
    EXPECT_EQ(child.output, joined({system_error(3), system_error(ENOENT), "-1 errno " + std::to_string(ECHILD)}));
}

TEST_F(PowerRunProgram, AnyChildThatEndsIsWaitedFor) {
    const ChildResult child = run_in_child([&] {
        const pid_t other = fork();
        if (other == 0) _exit(7);
        siginfo_t info = {};
        waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT);
        return running(script("sleep 0.5"));
    });
    EXPECT_EQ(child.output, system_error(7));
}

TEST_F(PowerRunProgram, IgnoredChildSignalIsECHILD) {
    const ChildResult child = run_in_child([&] {
        std::signal(SIGCHLD, SIG_IGN);
        return running(script("exit 0"));
    });
    EXPECT_EQ(child.output, system_error(ECHILD));
}

TEST_F(PowerRunProgram, SignalDuringTheWaitIsEINTR) {
    const ChildResult child = run_in_child([&] {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        const itimerval every_50_ms = {{0, 50000}, {0, 50000}};
        const std::string& program = script("sleep 1");
        setitimer(ITIMER_REAL, &every_50_ms, nullptr);
        return running(program);
    });
    EXPECT_EQ(child.output, system_error(EINTR));
}

TEST_F(PowerRunProgram, RefusedProcessIsTheError) {
    const std::string& program = script("exit 0");
    fs::permissions(directory_.path(), fs::perms::all);
    fs::permissions(program, fs::perms::all);
    const ChildResult child = run_in_child([&] {
        // The limit applies to unprivileged users only. 65534 is "nobody" whatever the name service says.
        if (getuid() == 0 && setuid(65534) != 0) return std::string("cannot become another user");
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        return running(program);
    });
    EXPECT_EQ(child.output, system_error(EAGAIN));
}

/** A thread that waits for a program. As in an exported function, cancellation is off everywhere else. */
struct Waiter {
    explicit Waiter(std::string path, int cancel_state = PTHREAD_CANCEL_ENABLE)
        : program(std::move(path)), state(cancel_state) {
        pthread_create(
            &thread, nullptr,
            [](void* self) -> void* {
                auto* const waiter = static_cast<Waiter*>(self);
                pthread_setcancelstate(waiter->state, nullptr);
                const Velmor::CancellationOff off;
                waiter->output = running(waiter->program);
                return nullptr;
            },
            this);
    }

    /** Waits for the thread to end; whether it was cancelled. */
    bool joined_as_cancelled() const {
        void* result = nullptr;
        pthread_join(thread, &result);
        return result == PTHREAD_CANCELED;
    }

    std::string program;
    int state;
    std::string output = "not returned";
    pthread_t thread = {};
};

TEST_F(PowerRunProgram, ThreadCanBeCancelledInTheWait) {
    const Waiter waiter(script_with_pid("exec sleep 10"));
    const pid_t program = pid_of_script();
    pthread_cancel(waiter.thread);
    EXPECT_TRUE(waiter.joined_as_cancelled());
    EXPECT_EQ(waiter.output, "not returned");
    kill(program, SIGKILL);
    EXPECT_EQ(waitpid(program, nullptr, 0), program);
}

TEST_F(PowerRunProgram, ThreadThatHasDisabledCancellationIsNotCancelled) {
    const Waiter waiter(script_with_pid("sleep 0.3; exit 3"), PTHREAD_CANCEL_DISABLE);
    pid_of_script();
    pthread_cancel(waiter.thread);
    EXPECT_FALSE(waiter.joined_as_cancelled());
    EXPECT_EQ(waiter.output, system_error(3));
}

}  // namespace
