// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <string>
#include <vector>

/**
 * This program's sleep(), sync() and syscall() are stand-ins for the C library's.
 *
 * HAZARD: they are what keeps the restart call from the kernel. Every other system call is passed on.
 */
namespace stand_ins {

/** Thrown out of sleep(), to leave a wait that has no end. */
struct Woken {};

struct State {
    std::vector<std::string> calls;  // "sync", "sleep <seconds>", "reboot 0x<...> 0x<...> 0x<...> <text>"
    int woken_by = 1;                // the sleep() that throws Woken
    bool really_sleeps = false;      // the others; else they return at once
    long restart_result = -1;
    int restart_error = 1;
};

extern State state;
/** How many sleep() have begun; another thread may look. */
extern std::atomic<int> sleeps;

/** As new, and the check that the stand-ins stand: false ends a test before it asks for anything. */
bool reset();

}  // namespace stand_ins
