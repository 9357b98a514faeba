// SPDX-License-Identifier: MIT
#pragma once

#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <string>

#include "support/fifo.h"

namespace testing_support {

// Exit codes that no library and no sanitizer uses.
constexpr int success_code = 42;
constexpr int failure_code = 43;

[[noreturn]] inline void end_child(bool success) {
    _exit(success ? success_code : failure_code);
}

/** Fork a child that runs this and ends: with success where it returns true. A child that hangs is killed. */
template <typename Code>
pid_t fork_child(Code code) {
    const pid_t child = fork();
    if (child == 0) {
        no_longer_than(10);
        end_child(code());
    }
    return child;
}

/** How a process has ended: "success", "failure", "exit 1", "signal 14". */
inline std::string ending(int wait_status) {
    if (WIFSIGNALED(wait_status)) return "signal " + std::to_string(WTERMSIG(wait_status));
    const int code = WEXITSTATUS(wait_status);
    return code == success_code ? "success" : code == failure_code ? "failure" : "exit " + std::to_string(code);
}

/** Wait for a child: how it ends. */
inline std::string ending_of(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return ending(status);
}

/** Run this in a forked child: how it ends. */
template <typename Code>
std::string run_forked(Code code) {
    return ending_of(fork_child(code));
}

}  // namespace testing_support
