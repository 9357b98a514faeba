// SPDX-License-Identifier: MIT
#pragma once

#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <time.h>
#include <unistd.h>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "board/check.h"
#include "support/forked.h"
#include "support/scenario.h"
#include "velmor.h"

namespace board {

/** Seconds since the board's start, including those it was asleep. */
inline double now() {
    timespec time = {};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/** Make a call: what it returns, and what it prints. */
inline std::string result_and_output(const testing_support::Scenario& call) {
    const int output = memfd_create("standard error", MFD_CLOEXEC);
    const int saved = dup(STDERR_FILENO);
    if (output < 0 || saved < 0 || dup2(output, STDERR_FILENO) < 0) throw std::runtime_error("cannot capture stderr");
    const std::string result = call();
    dup2(saved, STDERR_FILENO);
    close(saved);
    std::array<char, 4096> bytes = {};
    const ssize_t length = pread(output, bytes.data(), bytes.size(), 0);
    close(output);
    return result + ", prints " + shown(std::string(bytes.data(), static_cast<std::size_t>(length)));
}

/** Check what a call returns, and that it prints its failure line with this cause, or nothing. */
inline void expect(const std::string& text, const testing_support::Scenario& call,
                   const testing_support::CallResult& result = testing_support::succeeds(),
                   const std::string& cause = "") {
    const std::string line = cause.empty() ? "" : testing_support::failed(text.substr(0, text.find('(')), cause);
    check(text, std::string(result) + ", prints " + shown(line), result_and_output(call));
}

/** Make checks in a child of the process, in which the first file is mounted over the second. */
template <typename Checks>
void with_mount(const std::string& file, const std::string& over, Checks checks) {
    const std::string ending = testing_support::run_forked([&] {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount(file.c_str(), over.c_str(), nullptr, MS_BIND, nullptr) != 0)
            return false;
        checks();
        return true;
    });
    check("checks with " + file + " mounted over " + over, "success", ending);
}

}  // namespace board
