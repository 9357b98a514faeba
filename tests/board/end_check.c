/* SPDX-License-Identifier: MIT */

/*
 * Ends the emulated board's run in one of the ways that the library has.
 * tests/board/run reads from the console how it ended.
 *
 * HAZARD: it resets the machine: for that board only.
 */

#include "check.h"

#include <velmor.h>

enum { timeout = 5 /* s */ };

static void bite(void) {
    double start, last;

    interface("/dev/watchdog", "watchdog_enable watchdog_refresh watchdog_disable");
    start = now();
    ACCEPTED(watchdog_enable(timeout));
    while (now() - start < 1.5 * timeout) {
        sleep(1);
        if (watchdog_refresh() != 0) {
            check(false, "watchdog_refresh() is 0", "a refusal");
            return;
        }
    }
    last = now();
    check_file("fed beyond its timeout, the watchdog is still armed", "active", "/sys/class/watchdog/watchdog0/state");
    for (;;) {
        printf("velmor-board: unfed for %.0f s\n", now() - last);
        usleep(990000);
    }
}

int main(int count, char** words) {
    const char* way = count == 2 ? words[1] : "";

    begin_checks(on_emulated_board(), "not the emulated board");
    if (strcmp(way, "bite") == 0)
        bite();
    else if (strcmp(way, "reboot") == 0)
        printf("power_reboot is %d\n", power_reboot());
    else if (strcmp(way, "shutdown") == 0)
        printf("power_shutdown is %d\n", power_shutdown());
    else
        fprintf(stderr, "usage: end_check bite|reboot|shutdown\n");
    return 1;
}
