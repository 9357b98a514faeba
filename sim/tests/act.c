/* SPDX-License-Identifier: MIT */
/*
 * One act on the device, for the tests: what the shell cannot do.
 *
 * HAZARD: "restart" makes the restart system call. It refuses outside of a PID and a user namespace of its own.
 */
#define _GNU_SOURCE 1
#include <errno.h>
#include <fcntl.h>
#include <linux/input.h>
#include <linux/watchdog.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

static int is_initial(const char* link, const char* inode) {
    char text[64];
    const ssize_t length = readlink(link, text, sizeof text - 1);
    if (length < 0) return 1;
    text[length] = '\0';
    return strstr(text, inode) != NULL;
}

static int restart(const char* command, const char* text) {
    if (is_initial("/proc/self/ns/pid", "4026531836") || is_initial("/proc/self/ns/user", "4026531837")) {
        fprintf(stderr, "not in namespaces of its own: no restart call here\n");
        return 98;
    }
    const long result = syscall(SYS_reboot, 0xfee1deadUL, 0x28121969UL, strtoul(command, NULL, 0), text);
    printf("%ld %s\n", result, strerrorname_np(errno));
    return 5;
}

/* Timeout in seconds, how often to feed it every half of that, then 'V' or nothing, then seconds to wait. */
static int watchdog(char** words) {
    int timeout = atoi(words[0]);
    const int node = open("/dev/watchdog", O_WRONLY | O_CLOEXEC);
    if (node < 0 || ioctl(node, WDIOC_SETTIMEOUT, &timeout) != 0) {
        printf("%s\n", strerrorname_np(errno));
        return 1;
    }
    printf("%d\n", timeout);
    fflush(stdout);
    for (int i = atoi(words[1]); i > 0; i--) {
        usleep((useconds_t)timeout * 500000U);
        if (ioctl(node, WDIOC_KEEPALIVE, 0) != 0) return 2;
    }
    if (words[2][0] == 'V' && write(node, "V", 1) != 1) return 3;
    close(node);
    sleep((unsigned)atoi(words[3]));
    return 7;
}

static int axes(const char* path) {
    const int node = open(path, O_RDONLY | O_CLOEXEC);
    for (unsigned axis = 0; axis < 4; axis++) {
        struct input_absinfo info;
        if (ioctl(node, EVIOCGABS(axis), &info) < 0) {
            printf("%s\n", strerrorname_np(errno));
            return 1;
        }
        printf("%d ", info.value);
    }
    printf("\n");
    return 0;
}

/* One event, waited for by poll and then by a blocking read. */
static int event(const char* path) {
    struct input_event events[2];
    struct pollfd wait = {open(path, O_RDONLY | O_CLOEXEC), POLLIN, 0};
    printf("open\n");
    fflush(stdout);
    if (poll(&wait, 1, 10000) != 1 || (wait.revents & POLLIN) == 0) return 1;
    if (read(wait.fd, events, sizeof events) != (ssize_t)sizeof events) return 2;
    printf("%d %d %d\n", events[0].type, events[0].code, events[0].value);
    fflush(stdout);
    if (read(wait.fd, events, sizeof events) != (ssize_t)sizeof events) return 3;
    printf("%d %d %d\n", events[0].type, events[0].code, events[0].value);
    return 0;
}

/* Waits for a change of an attribute, as for a line's edge. */
static int change(const char* path) {
    char text[16];
    struct pollfd wait = {open(path, O_RDONLY | O_CLOEXEC), POLLPRI | POLLERR, 0};
    if (read(wait.fd, text, sizeof text) < 0) return 1;
    printf("open\n");
    fflush(stdout);
    if (poll(&wait, 1, 10000) != 1) return 2;
    const ssize_t length = pread(wait.fd, text, sizeof text, 0);
    return length > 0 && write(STDOUT_FILENO, text, (size_t)length) == length ? 0 : 3;
}

/* A line that is given back while it is open. */
static int dead_line(void) {
    char text[4];
    const int value = open("/sys/class/gpio/gpio37/value", O_RDONLY | O_CLOEXEC);
    const int node = open("/sys/class/gpio/unexport", O_WRONLY | O_CLOEXEC);
    if (value < 0 || write(node, "37", 2) != 2) return 1;
    printf("%zd ", pread(value, text, sizeof text, 0));
    printf("%s\n", strerrorname_np(errno));
    return 0;
}

int main(int count, char** words) {
    if (count == 4 && strcmp(words[1], "restart") == 0) return restart(words[2], words[3]);
    if (count == 6 && strcmp(words[1], "watchdog") == 0) return watchdog(words + 2);
    if (count == 3 && strcmp(words[1], "axes") == 0) return axes(words[2]);
    if (count == 3 && strcmp(words[1], "event") == 0) return event(words[2]);
    if (count == 3 && strcmp(words[1], "change") == 0) return change(words[2]);
    if (count == 2 && strcmp(words[1], "dead-line") == 0) return dead_line();
    return 99;
}
