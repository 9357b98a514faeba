// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/device.h"

/**
 * This program's sleep(), sync() and syscall() take the place of the C library's.
 *
 * HAZARD: only they keep the restart call from the kernel. Every other system call is passed on.
 */
namespace stand_ins {

struct State {
    std::vector<std::string> calls;  // "sync", "sleep <seconds>", "reboot 0x<...> 0x<...> 0x<...> <text>"
    int woken_by = 1;                // the number of the sleep() that throws, to end the wait
    bool really_sleeps = false;      // the other ones; otherwise they return at once
    long restart_result = -1;
    int restart_error = 1;
};

extern State state;

/** Resets the state. False if the restart call would reach the kernel: the test must end then. */
bool reset();

/** Runs this. True if a sleep() has ended it. */
bool is_woken(const std::function<void()>& code);

/** Runs this in a thread and cancels the thread once it sleeps. True if that has ended it. */
bool is_cancelled(const std::function<void()>& code);

/** A test that begins with the device's files and with stand-ins that have not been called. */
class Test : public testing_support::DeviceTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing_support::on_device()) << "HAZARD: run this through tests/plain-files";
        DeviceTest::SetUp();
        ASSERT_TRUE(reset());
    }
};

}  // namespace stand_ins
