// SPDX-License-Identifier: MIT
// Ends the emulated board's run in one of the ways that the library has. tests/board/run reads from the console how it
// ended.
//
// HAZARD: it resets the machine: for that board only.

#include <unistd.h>
#include <cstdio>
#include <string>

#include "board/calls.h"

using namespace board;
using namespace testing_support;

namespace {

constexpr int timeout_s = 5;

/** Feeds the watchdog beyond its timeout, and then no more. */
void bite() {
    interface("/dev/watchdog", "watchdog_enable watchdog_refresh watchdog_disable");
    const double start = now();
    expect("watchdog_enable(5)", call(watchdog_enable, timeout_s));
    while (now() - start < 1.5 * timeout_s) {
        sleep(1);
        if (watchdog_refresh() != 0) return check("watchdog_refresh()", "0", "a failure");
    }
    const double last_feed = now();
    File{"/sys/class/watchdog/watchdog0/state"}.reads("active");
    for (;;) {
        std::printf("velmor-board: unfed for %.0f s\n", now() - last_feed);
        usleep(990000);
    }
}

}  // namespace

int main(int count, char** words) {
    const std::string way = count == 2 ? words[1] : "";
    begin_checks(on_emulated_board(), "not the emulated board");
    if (way == "bite")
        bite();
    else if (way == "reboot")
        std::printf("power_reboot is %d\n", power_reboot());
    else if (way == "shutdown")
        std::printf("power_shutdown is %d\n", power_shutdown());
    else
        std::fprintf(stderr, "usage: end_check bite|reboot|shutdown\n");
    return 1;
}
