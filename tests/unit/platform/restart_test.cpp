// SPDX-License-Identifier: MIT
// The real restart call.
//
// HAZARD: only the first process of a user and a PID namespace that are neither the parent's nor the machine's may make
// it. There the kernel ends that namespace instead of restarting the machine.

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/auto_power_on.h"
#include "support/recorder.h"

using testing_support::Recorder;

namespace {

std::string namespace_id(const char* kind) {
    std::error_code error;
    return std::filesystem::read_symlink(std::string("/proc/self/ns/") + kind, error).string();
}

constexpr int refused = 99;

[[noreturn]] void restart_own_namespace(const std::string& parents_user, const std::string& parents_pid) {
    const std::string user = namespace_id("user");
    const std::string pid = namespace_id("pid");
    if (getpid() != 1 || user == parents_user || pid == parents_pid || user == "user:[4026531837]" ||
        pid == "pid:[4026531836]" || !user.starts_with("user:[") || !pid.starts_with("pid:[")) {
        std::fprintf(stderr, "REFUSED to make the restart call in %s %s\n", user.c_str(), pid.c_str());
        _exit(refused);
    }
    alarm(20);
    try {
        Velmor::AutoPowerOn power;
        power.shutdown();
    } catch (const std::system_error& error) {
        _exit(error.code().value());
    }
    _exit(0);
}

TEST(RealRestartCall, EndsANamespaceOfItsOwn) {
    if (!Recorder::available()) GTEST_SKIP() << "qemu-arm creates no namespaces: run this test in a native build";
    const std::string user = namespace_id("user");
    const std::string pid = namespace_id("pid");
    // Like fork() but with new namespaces. unshare() fails in a process with threads.
    const long child = syscall(SYS_clone, CLONE_NEWUSER | CLONE_NEWPID | SIGCHLD, 0L, 0L, 0L, 0L);
    if (child < 0)
        GTEST_SKIP() << "this user may not create namespaces, without which the real call is not made: errno " << errno;
    if (child == 0) restart_own_namespace(user, pid);
    int status = 0;
    ASSERT_EQ(waitpid(static_cast<pid_t>(child), &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "exit code " << WEXITSTATUS(status);
    EXPECT_EQ(WTERMSIG(status), SIGHUP);
}

}  // namespace
