/* SPDX-License-Identifier: MIT */

/*
 * Checks libvelmor against real kernel drivers, on the board that
 * tests/board/run emulates.
 *
 * It arms the watchdog and suspends the machine: for that board only.
 */

#define _GNU_SOURCE

#include <fcntl.h>
#include <sched.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <velmor.h>

#define BACKLIGHT "/sys/class/backlight/pwm-backlight.0"
#define WATCHDOG "/sys/class/watchdog/watchdog0"
#define SUSPEND_STATS "/sys/power/suspend_stats"

enum { text_size = 256 };

/* Shared with the child that runs the range check. */
struct tally {
    int number;
    int failed;
};
static struct tally* tally;

static void check(bool good, const char* what, const char* got) {
    ++tally->number;
    if (good) {
        printf("ok %d - %s\n", tally->number, what);
    } else {
        ++tally->failed;
        printf("not ok %d - %s (got %s)\n", tally->number, what, got);
    }
}

static void skip(const char* what, const char* why) {
    printf("ok %d - %s # SKIP %s\n", ++tally->number, what, why);
}

static void check_number(const char* what, long expected, long got) {
    char text[text_size];

    snprintf(text, sizeof text, "%ld, not %ld", got, expected);
    check(got == expected, what, text);
}

static void check_text(const char* what, const char* expected, const char* got) {
    check(strcmp(got, expected) == 0, what, got);
}

/* The file's first line without its newline. */
static const char* text_of(const char* path) {
    static char text[text_size];
    FILE* file = fopen(path, "r");

    if (file == NULL) return "nothing: it cannot be opened";
    if (fgets(text, sizeof text, file) == NULL) text[0] = '\0';
    fclose(file);
    text[strcspn(text, "\n")] = '\0';
    return text;
}

static bool put(const char* path, const char* text) {
    int fd = open(path, O_WRONLY);
    bool good = fd >= 0 && write(fd, text, strlen(text)) == (ssize_t)strlen(text);

    if (fd >= 0) close(fd);
    return good;
}

static bool exists(const char* path) {
    return access(path, F_OK) == 0;
}

/* What a call of the library wrote to the standard error stream. */
static char diagnostics[text_size];
static int saved_stderr;
static FILE* capture;

static void capture_begin(void) {
    capture = tmpfile();
    saved_stderr = dup(STDERR_FILENO);
    if (capture == NULL || saved_stderr < 0 || dup2(fileno(capture), STDERR_FILENO) < 0) abort();
}

static void capture_end(void) {
    size_t length;

    dup2(saved_stderr, STDERR_FILENO);
    close(saved_stderr);
    rewind(capture);
    length = fread(diagnostics, 1, sizeof diagnostics - 1, capture);
    diagnostics[length] = '\0';
    fclose(capture);
}

/* A refused call gives its result and one line, which begins as expected. */
static void check_refused(const char* what, int expected, const char* line, int got) {
    char text[2 * text_size];
    const char* newline = strchr(diagnostics, '\n');

    snprintf(text, sizeof text, "%d, \"%s\"", got, diagnostics);
    check(got == expected && strncmp(diagnostics, line, strlen(line)) == 0 && newline != NULL && newline[1] == '\0',
          what, text);
}

static void check_accepted(const char* what, int got) {
    char text[2 * text_size];

    snprintf(text, sizeof text, "%d, \"%s\"", got, diagnostics);
    check(got == 0 && diagnostics[0] == '\0', what, text);
}

#define REFUSED(expected, line, call)                                \
    do {                                                             \
        int got_;                                                    \
        capture_begin();                                             \
        got_ = (call);                                               \
        capture_end();                                               \
        check_refused(#call " is " #expected, expected, line, got_); \
    } while (0)

#define ACCEPTED(call)                       \
    do {                                     \
        int got_;                            \
        capture_begin();                     \
        got_ = (call);                       \
        capture_end();                       \
        check_accepted(#call " is 0", got_); \
    } while (0)

/*
 * The library never asks the driver for more than max_brightness, so the
 * driver's own refusal shows only when that attribute overstates it.
 */
static void backlight_range(void) {
    const char* overstated = "/tmp/max_brightness";
    FILE* file = fopen(overstated, "w");

    if (file != NULL) {
        fputs("100\n", file);
        fclose(file);
    }
    if (file == NULL || unshare(CLONE_NEWNS) != 0 || mount(NULL, "/", NULL, MS_REC | MS_PRIVATE, NULL) != 0 ||
        mount(overstated, BACKLIGHT "/max_brightness", NULL, MS_BIND, NULL) != 0) {
        check(false, "max_brightness can be overstated", "a refusal");
        return;
    }
    put(BACKLIGHT "/brightness", "3");
    check_text("max_brightness is overstated", "100", text_of(BACKLIGHT "/max_brightness"));
    REFUSED(-1, "backlight_set failed: ", backlight_set(0, 255));
    check_text("the driver kept its brightness", "3", text_of(BACKLIGHT "/brightness"));
}

/* In a child, since a process reads max_brightness only once. */
static void check_backlight_range(void) {
    int status = -1;
    pid_t child = fork();

    if (child == 0) {
        backlight_range();
        _exit(0);
    }
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
        check_number("the range check ran to its end", 0, status);
    check_text("max_brightness is the driver's again", "7", text_of(BACKLIGHT "/max_brightness"));
}

static void check_backlight(void) {
    static const struct {
        uint32_t level;
        const char* raw;
    } levels[] = {{0, "0"}, {1, "1"}, {128, "4"}, {255, "7"}};
    char what[text_size];
    size_t i;

    for (i = 0; i < sizeof levels / sizeof levels[0]; ++i) {
        uint32_t level = 1000;
        int result = backlight_set(0, levels[i].level);

        snprintf(what, sizeof what, "backlight_set(0, %u) is 0", (unsigned)levels[i].level);
        check_number(what, 0, result);
        snprintf(what, sizeof what, "the driver has brightness %s", levels[i].raw);
        check_text(what, levels[i].raw, text_of(BACKLIGHT "/brightness"));
        result = backlight_get(0, &level);
        check_number("backlight_get is 0", 0, result);
        check_number("it reads the same level", (long)levels[i].level, (long)level);
    }
    REFUSED(-1, "backlight_set failed: backlight brightness out of range\n", backlight_set(0, 256));
    check_text("the driver kept its brightness", "7", text_of(BACKLIGHT "/brightness"));
}

static void check_display(void) {
    /* Blanking stops the pixel clock: the one trace that this driver leaves. */
    const char* clock_users = "/sys/kernel/debug/clk/clcd-clock/clk_enable_count";
    bool on = true;
    long lit = strtol(text_of(clock_users), NULL, 10);

    ACCEPTED(display_set(0, 0));
    if (exists(clock_users))
        check_number("the pixel clock is off", lit - 1, strtol(text_of(clock_users), NULL, 10));
    else
        skip("the pixel clock is off", "no clock tree in debugfs");
    ACCEPTED(display_set(0, 1));
    if (exists(clock_users))
        check_number("the pixel clock is on", lit, strtol(text_of(clock_users), NULL, 10));
    else
        skip("the pixel clock is on", "no clock tree in debugfs");

    /* This kernel's blank attribute reads as empty: no state can be had. */
    check_text("blank reads as empty", "", text_of("/sys/class/graphics/fb0/blank"));
    REFUSED(-1, "display_get failed: ", display_get(0, &on));
}

static void check_timeleft(void) {
    const char* what = "the watchdog has 1 to 30 s left";
    const char* path = WATCHDOG "/timeleft";
    const char* text;
    long left;

    if (!exists(path)) {
        skip(what, "this driver does not tell");
        return;
    }
    text = text_of(path);
    left = strtol(text, NULL, 10);
    check(left >= 1 && left <= 30, what, text);
}

/* HAZARD: an error between enable and disable resets the board. */
static void check_watchdog(void) {
    const char* what = "watchdog attributes";
    bool attributes = exists(WATCHDOG "/state");

    REFUSED(-22, "watchdog_refresh failed: Invalid argument\n", watchdog_refresh());
    REFUSED(-22, "watchdog_enable failed: Invalid argument\n", watchdog_enable(-1));
    if (attributes) check_text("the watchdog is not armed", "inactive", text_of(WATCHDOG "/state"));

    ACCEPTED(watchdog_enable(30));
    if (attributes) {
        check_text("the watchdog is armed", "active", text_of(WATCHDOG "/state"));
        check_text("its timeout is 30 s", "30", text_of(WATCHDOG "/timeout"));
        check_timeleft();
    }
    ACCEPTED(watchdog_refresh());
    ACCEPTED(watchdog_enable(20));
    if (attributes) {
        check_text("the watchdog is armed again", "active", text_of(WATCHDOG "/state"));
        check_text("its timeout is 20 s", "20", text_of(WATCHDOG "/timeout"));
    }
    /* Short, so that the wait below outlasts it. */
    ACCEPTED(watchdog_enable(5));
    ACCEPTED(watchdog_disable());
    if (attributes)
        check_text("the watchdog is disarmed", "inactive", text_of(WATCHDOG "/state"));
    else
        skip(what, "this kernel has none");
    REFUSED(-22, "watchdog_disable failed: Invalid argument\n", watchdog_disable());
    sleep(8);
    check(true, "the board outlived the disarmed watchdog", "");
}

static double now(void) {
    struct timespec time;

    clock_gettime(CLOCK_BOOTTIME, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

/*
 * HAZARD: without pm_test this board sleeps for ever. With it the kernel
 * suspends its devices, waits 5 s and resumes.
 */
static void check_suspend(void) {
    long succeeded, refused;
    double start, elapsed;
    char text[text_size];

    if (!put("/sys/power/pm_test", "devices") || strstr(text_of("/sys/power/pm_test"), "[devices]") == NULL) {
        skip("power_suspend() is 0", "this kernel cannot test suspend");
        return;
    }
    succeeded = strtol(text_of(SUSPEND_STATS "/success"), NULL, 10);
    refused = strtol(text_of(SUSPEND_STATS "/fail"), NULL, 10);
    start = now();
    ACCEPTED(power_suspend());
    elapsed = now() - start;
    snprintf(text, sizeof text, "%.1f s", elapsed);
    check(elapsed >= 4.5, "it returned after the kernel's 5 s", text);
    check_number("the kernel counts one more suspend", succeeded + 1,
                 strtol(text_of(SUSPEND_STATS "/success"), NULL, 10));
    check_number("and no failed one", refused, strtol(text_of(SUSPEND_STATS "/fail"), NULL, 10));
    put("/sys/power/pm_test", "none");
    check(strstr(text_of("/sys/power/pm_test"), "[none]") != NULL, "pm_test is none again",
          text_of("/sys/power/pm_test"));
}

int main(void) {
    /* A node that only the emulated board's device tree has. */
    if (strcmp(text_of("/sys/firmware/devicetree/base/mxc_pwm.1/compatible"), "velmor,dummy") != 0) {
        fputs("board_check: this is not the emulated board\n", stderr);
        return 2;
    }

    setvbuf(stdout, NULL, _IONBF, 0);
    tally = mmap(NULL, sizeof *tally, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (tally == MAP_FAILED) return 1;

    /* First, while the library of this process has not started. */
    check_backlight_range();
    check_backlight();
    check_display();
    check_watchdog();
    check_suspend();

    printf("1..%d\n", tally->number);
    return tally->failed == 0 ? 0 : 1;
}
