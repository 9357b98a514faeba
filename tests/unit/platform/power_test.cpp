// SPDX-License-Identifier: MIT
#include "platform/power.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "access/cancellation.h"
#include "support/files.h"
#include "support/recorder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;
using testing::StartsWith;
using testing_support::content;
using testing_support::exists;
using testing_support::Outcome;
using testing_support::run_apart;
using testing_support::thrown;

namespace {

/** The code of the std::system_error that run_program() throws, 0 for none. */
int code_of(const std::string& program) {
    try {
        Velmor::Power().run_program(program);
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return 0;
}

class PowerRunProgram : public testing::Test {
protected:
    const std::string& script(const std::string& body) {
        testing_support::put(program_, "#!/bin/sh\n" + body + "\n");
        fs::permissions(program_, fs::perms::owner_all);
        return program_;
    }

    /** A script that can be met while it runs; its process number stands in the file "pid" by then. */
    const std::string& script_with_pid(const std::string& body) {
        return script("echo $$ >" + directory_ / "new" + " && mv " + directory_ / "new" + " " + directory_ / "pid" +
                      "\n" + body);
    }

    int pid_of_script() {
        for (int i = 0; i < 10000 && !exists(directory_ / "pid"); ++i) usleep(1000);
        return std::stoi(content(directory_ / "pid"));
    }

    testing_support::TemporaryDirectory directory_;
    std::string program_ = directory_ / "program";
};

TEST_F(PowerRunProgram, WaitsForTheProgramToEnd) {
    const std::string end = directory_ / "end";
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(script("sleep 0.2; echo over >" + end)); }), "nothing");
    EXPECT_EQ(content(end), "over\n");
}

TEST_F(PowerRunProgram, ExitCodeIsTheError) {
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(script("exit 0")); }), "nothing");
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(script("exit 1")); }), "system_error 1 Operation not permitted");
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(script("exit 3")); }), "system_error 3 No such process");
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(script("exit 255")); }), "system_error 255 Unknown error 255");
}

TEST_F(PowerRunProgram, DeathBySignalCountsAsSuccess) {
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(script("kill -KILL $$")); }), "nothing");
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(script("kill -TERM $$")); }), "nothing");
}

TEST_F(PowerRunProgram, MissingProgramIsNoEntry) {
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(directory_ / "none"); }),
              "system_error 2 No such file or directory");
}

TEST_F(PowerRunProgram, ProgramThatMayNotBeExecutedIsAccessDenied) {
    testing_support::put(program_, "#!/bin/sh\n");
    fs::permissions(program_, fs::perms::owner_read);
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(program_); }), "system_error 13 Permission denied");
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(directory_.path()); }), "system_error 13 Permission denied");
}

// No shell stands in where the kernel knows no interpreter, and PATH is not searched.
TEST_F(PowerRunProgram, ProgramIsExecutedByTheKernelOnly) {
    testing_support::put(program_, "exit 0\n");
    fs::permissions(program_, fs::perms::owner_all);
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program(program_); }), "system_error 8 Exec format error");
    EXPECT_EQ(thrown([&] { Velmor::Power().run_program("true"); }), "system_error 2 No such file or directory");
}

TEST_F(PowerRunProgram, PathIsTheOnlyArgument) {
    // The system's sleep says who it thinks it is, and that it has been given no argument.
    fs::create_symlink("/bin/sleep", program_);
    setenv("LC_ALL", "C", 1);
    const Outcome outcome = run_apart([&] { return code_of(program_); });
    EXPECT_EQ(outcome.result, 1);
    EXPECT_THAT(outcome.error_text, StartsWith(program_ + ": missing operand\n"));
}

TEST_F(PowerRunProgram, EnvironmentIsInherited) {
    const std::string answer = directory_ / "answer";
    setenv("VELMOR_TEST_VARIABLE", "of the application's", 1);
    EXPECT_EQ(code_of(script("echo \"$# $VELMOR_TEST_VARIABLE\" >" + answer)), 0);
    unsetenv("VELMOR_TEST_VARIABLE");
    EXPECT_EQ(content(answer), "0 of the application's\n");
}

TEST_F(PowerRunProgram, NoChildIsLeftBehind) {
    const Outcome outcome = run_apart([&] {
        code_of(script("exit 3"));
        code_of(directory_ / "none");
        return static_cast<int>(waitpid(-1, nullptr, WNOHANG));
    });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.error, ECHILD);
}

TEST_F(PowerRunProgram, AnyChildThatEndsIsWaitedFor) {
    const Outcome outcome = run_apart([&] {
        const pid_t other = fork();
        if (other == 0) _exit(7);
        siginfo_t info = {};
        waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT);
        return code_of(script("sleep 0.5"));
    });
    EXPECT_EQ(outcome.result, 7);
}

TEST_F(PowerRunProgram, IgnoredChildSignalIsNoChild) {
    const Outcome outcome = run_apart([&] {
        std::signal(SIGCHLD, SIG_IGN);
        return code_of(script("exit 0"));
    });
    EXPECT_EQ(outcome.result, ECHILD);
}

TEST_F(PowerRunProgram, SignalDuringTheWaitIsInterrupted) {
    const Outcome outcome = run_apart([&] {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        const itimerval every_50_ms = {{0, 50000}, {0, 50000}};
        const std::string& program = script("sleep 1");
        setitimer(ITIMER_REAL, &every_50_ms, nullptr);
        return code_of(program);
    });
    EXPECT_EQ(outcome.result, EINTR);
}

TEST_F(PowerRunProgram, RefusedProcessIsTheError) {
    const std::string& program = script("exit 0");
    fs::permissions(directory_.path(), fs::perms::all);
    fs::permissions(program, fs::perms::all);
    const Outcome outcome = run_apart([&] {
        // The limit holds for users without privileges only; a name service would not make 65534 another "nobody".
        if (getuid() == 0 && setuid(65534) != 0) return -1;
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        return code_of(program);
    });
    EXPECT_EQ(outcome.result, EAGAIN);
}

// The wait within the frame of an exported function, which keeps cancellation off everywhere else.
struct Waiter {
    explicit Waiter(std::string path, int cancel_state = PTHREAD_CANCEL_ENABLE)
        : program(std::move(path)), state(cancel_state) {
        pthread_create(
            &thread, nullptr,
            [](void* self) -> void* {
                auto* const waiter = static_cast<Waiter*>(self);
                pthread_setcancelstate(waiter->state, nullptr);
                const Velmor::CancellationOff off;
                waiter->code = code_of(waiter->program);
                return nullptr;
            },
            this);
    }

    /** Whether the thread ended by its cancellation. */
    bool joined_as_cancelled() const {
        void* result = nullptr;
        pthread_join(thread, &result);
        return result == PTHREAD_CANCELED;
    }

    std::string program;
    int state;
    int code = -1;
    pthread_t thread = {};
};

TEST_F(PowerRunProgram, ThreadCanBeCancelledInTheWait) {
    const Waiter waiter(script_with_pid("exec sleep 10"));
    const pid_t program = pid_of_script();
    pthread_cancel(waiter.thread);
    EXPECT_TRUE(waiter.joined_as_cancelled());
    EXPECT_EQ(waiter.code, -1);
    kill(program, SIGKILL);
    EXPECT_EQ(waitpid(program, nullptr, 0), program);
}

TEST_F(PowerRunProgram, ThreadThatLetsNobodyCancelItIsNotCancelled) {
    const Waiter waiter(script_with_pid("sleep 0.3; exit 3"), PTHREAD_CANCEL_DISABLE);
    pid_of_script();
    pthread_cancel(waiter.thread);
    EXPECT_FALSE(waiter.joined_as_cancelled());
    EXPECT_EQ(waiter.code, 3);
}

}  // namespace
