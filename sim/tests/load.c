/* SPDX-License-Identifier: MIT */
/* Puts load on the device, which the tests cannot do from the shell. */
#include <errno.h>
#include <fcntl.h>
#include <linux/watchdog.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

/* Reads the file again and again in that many processes, until they are killed. Prints a line after their start. */
static int busy(const char* path, int processes) {
    char text[16];
    /* So that the processors are free for the simulator, and for other tests. */
    setpriority(PRIO_PROCESS, 0, 10);
    for (int i = 1; i < processes && fork() != 0; i++) {
    }
    const int node = open(path, O_RDONLY | O_CLOEXEC);
    if (node < 0) return 1;
    if (write(STDOUT_FILENO, "busy\n", 5) != 5) return 2;
    while (pread(node, text, sizeof text, 0) >= 0) {
    }
    return 3;
}

/* While that many processes open and close the file, opens and stops the watchdog that often. Prints the number of
 * opens that failed. */
static int reopen(const char* path, int processes, int times) {
    int failed = 0;
    for (int i = 0; i < processes; i++) {
        if (fork() != 0) continue;
        for (;;) close(open(path, O_RDONLY | O_CLOEXEC));
    }
    for (int i = 0; i < times; i++) {
        const int node = open("/dev/watchdog", O_WRONLY | O_CLOEXEC);
        if (node < 0 || write(node, "V", 1) != 1) failed++;
        close(node);
    }
    printf("%d\n", failed);
    return 0;
}

/* Prints the names of all errors. */
static int errors(void) {
    for (int number = 1; number < 4096; number++) {
        if (strerrorname_np(number) != NULL) printf("%s\n", strerrorname_np(number));
    }
    return 0;
}

static void do_nothing(int signal) {
    (void)signal;
}

/* Does the operation that often, and prints the error of each. SIGUSR1 interrupts it. */
static int fail(const char* operation, const char* path, int times) {
    char text[16];
    int enable = WDIOS_ENABLECARD;
    struct sigaction handled;
    memset(&handled, 0, sizeof handled);
    handled.sa_handler = do_nothing;
    sigaction(SIGUSR1, &handled, NULL);
    const int keeps = strcmp(operation, "open") != 0 && strcmp(operation, "close") != 0;
    const int kept = !keeps ? -1 : open(path, O_RDWR | O_CLOEXEC);
    for (int i = 0; i < times; i++) {
        long result = 99;
        if (strcmp(operation, "open") == 0) result = open(path, O_RDWR | O_CLOEXEC);
        if (strcmp(operation, "read") == 0) result = pread(kept, text, sizeof text, 0);
        if (strcmp(operation, "write") == 0) result = write(kept, "1", 1);
        if (strcmp(operation, "ioctl") == 0) result = ioctl(kept, WDIOC_KEEPALIVE, 0);
        if (strcmp(operation, "set-options") == 0) result = ioctl(kept, WDIOC_SETOPTIONS, &enable);
        if (strcmp(operation, "close") == 0) result = close(open(path, O_RDWR | O_CLOEXEC));
        printf("%s\n", result == -1 ? strerrorname_np(errno) : "good");
    }
    return 0;
}

/* Opens the file that often, and with "poll" also waits for it to change. Prints a byte and sleeps. */
static void hold_some(const char* path, int count, const char* how, int ready) {
    const int events = epoll_create1(EPOLL_CLOEXEC);
    for (; count > 0; count--) {
        struct epoll_event event = {EPOLLPRI, {NULL}};
        char text[16];
        const int node = open(path, O_RDONLY | O_CLOEXEC);
        if (read(node, text, sizeof text) < 0) _exit(1);
        if (strcmp(how, "poll") == 0 && epoll_ctl(events, EPOLL_CTL_ADD, node, &event) != 0) _exit(2);
    }
    if (write(ready, "", 1) != 1) _exit(3);
    while (pause() != 0) {
    }
}

/* Holds the file open that often, in several processes. Then reads it that often, and waits for a line before and
 * after. */
static int hold(const char* path, int count, const char* how, int reads) {
    enum { most = 500 };
    char text[16];
    int ready[2];
    if (pipe(ready) != 0) return 1;
    for (; count > 0; count -= most) {
        if (fork() == 0) hold_some(path, count < most ? count : most, how, ready[1]);
        if (read(ready[0], text, 1) != 1) return 2;
    }
    const int node = open(path, O_RDONLY | O_CLOEXEC);
    printf("ready\n");
    fflush(stdout);
    (void)getchar();
    for (; reads > 0; reads--) {
        if (pread(node, text, sizeof text, 0) <= 0) return 3;
    }
    printf("done\n");
    fflush(stdout);
    (void)getchar();
    return 0;
}

int main(int count, char** words) {
    if (count == 4 && strcmp(words[1], "busy") == 0) return busy(words[2], atoi(words[3]));
    if (count == 5 && strcmp(words[1], "reopen") == 0) return reopen(words[2], atoi(words[3]), atoi(words[4]));
    if (count == 2 && strcmp(words[1], "errors") == 0) return errors();
    if (count == 6 && strcmp(words[1], "hold") == 0) return hold(words[2], atoi(words[3]), words[4], atoi(words[5]));
    if (count == 5 && strcmp(words[1], "fail") == 0) return fail(words[2], words[3], atoi(words[4]));
    return 99;
}
