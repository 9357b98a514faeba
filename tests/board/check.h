/* SPDX-License-Identifier: MIT */

/*
 * What the programs of this directory have in common. tests/board/run reads the
 * lines that begin with "velmor-board:", "ok" and "not ok".
 */

#ifndef VELMOR_BOARD_CHECK_H
#define VELMOR_BOARD_CHECK_H

#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif

#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

enum { text_size = 256 };

/* Shared with children that check. */
struct tally {
    int number;
    int failed;
};
static struct tally* tally;

static inline void check(bool good, const char* what, const char* got) {
    ++tally->number;
    if (good) {
        printf("ok %d - %s\n", tally->number, what);
    } else {
        ++tally->failed;
        printf("not ok %d - %s (got %s)\n", tally->number, what, got);
    }
}

/* The checks that follow are of this interface (where it is a path, the board tells what answers there). */
static inline void interface(const char* path, const char* functions) {
    printf("velmor-board: interface %s | %s\n", path, functions);
}

static inline void check_number(const char* what, long expected, long got) {
    char text[text_size];

    snprintf(text, sizeof text, "%ld, not %ld", got, expected);
    check(got == expected, what, text);
}

static inline void check_text(const char* what, const char* expected, const char* got) {
    char text[2 * text_size];

    snprintf(text, sizeof text, "\"%s\", not \"%s\"", got, expected);
    check(strcmp(got, expected) == 0, what, text);
}

/* The file's first line without its newline. */
static inline const char* text_of(const char* path) {
    static char text[text_size];
    FILE* file = fopen(path, "r");

    if (file == NULL) return "nothing: it cannot be opened";
    if (fgets(text, sizeof text, file) == NULL) text[0] = '\0';
    fclose(file);
    text[strcspn(text, "\n")] = '\0';
    return text;
}

static inline void check_file(const char* what, const char* expected, const char* path) {
    check_text(what, expected, text_of(path));
}

static inline bool put(const char* path, const char* text) {
    int fd = open(path, O_WRONLY);
    bool good = fd >= 0 && write(fd, text, strlen(text)) == (ssize_t)strlen(text);
    int error = errno;

    if (fd >= 0) close(fd);
    errno = error;
    return good;
}

/* What the write of a text says: the errno's name, or "good". */
static inline void check_put(const char* what, const char* expected, const char* path, const char* text) {
    check_text(what, expected, put(path, text) ? "good" : strerrorname_np(errno));
}

static inline bool exists(const char* path) {
    return access(path, F_OK) == 0;
}

/* Seconds since the board's start, those asleep included. */
static inline double now(void) {
    struct timespec time;

    clock_gettime(CLOCK_BOOTTIME, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

/* What a call of the library wrote to the standard error stream. */
static char diagnostics[text_size];
static int saved_stderr;
static FILE* capture;

static inline void capture_begin(void) {
    capture = tmpfile();
    saved_stderr = dup(STDERR_FILENO);
    if (capture == NULL || saved_stderr < 0 || dup2(fileno(capture), STDERR_FILENO) < 0) abort();
}

static inline void capture_end(void) {
    size_t length;

    dup2(saved_stderr, STDERR_FILENO);
    close(saved_stderr);
    rewind(capture);
    length = fread(diagnostics, 1, sizeof diagnostics - 1, capture);
    diagnostics[length] = '\0';
    fclose(capture);
}

/* A refused call gives its result, the errno that goes with it (with -1 it means nothing), and prints this. */
static inline void check_refused(const char* what, int expected, const char* line, int got, int error) {
    char text[2 * text_size];

    snprintf(text, sizeof text, "%d, errno %d, \"%s\"", got, error, diagnostics);
    check(got == expected && (expected == -1 || error == -expected) && strcmp(diagnostics, line) == 0, what, text);
}

static inline void check_accepted(const char* what, int got) {
    char text[2 * text_size];

    snprintf(text, sizeof text, "%d, \"%s\"", got, diagnostics);
    check(got == 0 && diagnostics[0] == '\0', what, text);
}

#define REFUSED(expected, line, call)                                        \
    do {                                                                     \
        int got_, error_;                                                    \
        capture_begin();                                                     \
        errno = 0;                                                           \
        got_ = (call);                                                       \
        error_ = errno;                                                      \
        capture_end();                                                       \
        check_refused(#call " is " #expected, expected, line, got_, error_); \
    } while (0)

#define ACCEPTED(call)                       \
    do {                                     \
        int got_;                            \
        capture_begin();                     \
        got_ = (call);                       \
        capture_end();                       \
        check_accepted(#call " is 0", got_); \
    } while (0)

/* By a node that only that board's device tree has. */
static inline bool on_emulated_board(void) {
    return strcmp(text_of("/sys/firmware/devicetree/base/mxc_pwm.1/compatible"), "velmor,dummy") == 0 &&
           exists("/programs");
}

/* HAZARD: what these programs do is for the beds they are made for only. */
static inline void begin_checks(bool on_its_bed, const char* elsewhere) {
    if (!on_its_bed) {
        fprintf(stderr, "refused: this is %s\n", elsewhere);
        exit(2);
    }
    setvbuf(stdout, NULL, _IONBF, 0);
    tally = (struct tally*)mmap(NULL, sizeof *tally, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (tally == MAP_FAILED) exit(1);
}

static inline int end_checks(void) {
    printf("1..%d\n", tally->number);
    return tally->failed == 0 ? 0 : 1;
}

#endif
