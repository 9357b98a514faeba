/* SPDX-License-Identifier: MIT */
/*
 * Does to the device what the tests cannot do from the shell. It is built as a 64-bit, a static and a 32-bit program;
 * act.py does the steps of "do" in Python.
 *
 * HAZARD: "restart" makes the restart system call. It refuses to in the machine's own PID or user namespace.
 */
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/input.h>
#include <linux/watchdog.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static int is_initial(const char* link, const char* inode) {
    char text[64];
    const ssize_t length = readlink(link, text, sizeof text - 1);
    if (length < 0) return 1;
    text[length] = '\0';
    return strstr(text, inode) != NULL;
}

/* Makes the call by one of the ways into the kernel that this program has: the native one, "int80" or "x32". */
static long call_restart(const char* way, unsigned long command, const char* text) {
#ifdef __x86_64__
    if (strcmp(way, "int80") == 0) {
        long result = 88;
        __asm__ volatile("int $0x80"
                         : "+a"(result)
                         : "b"(0xfee1deadUL), "c"(0x28121969UL), "d"(command), "S"(0UL)
                         : "memory", "r8", "r9", "r10", "r11");
        errno = (int)-result;
        return result == 0 ? 0 : -1;
    }
    if (strcmp(way, "x32") == 0) return syscall(0x40000000L | SYS_reboot, 0xfee1deadUL, 0x28121969UL, command, text);
#endif
    (void)way;
    return syscall(SYS_reboot, 0xfee1deadUL, 0x28121969UL, command, text);
}

static int restart(const char* command, const char* text, const char* way) {
    if (is_initial("/proc/self/ns/pid", "4026531836") || is_initial("/proc/self/ns/user", "4026531837")) {
        fprintf(stderr, "not in namespaces of our own: no restart call here\n");
        return 98;
    }
    const long result = call_restart(way, strtoul(command, NULL, 0), text);
    printf("%ld %s\n", result, strerrorname_np(errno));
    return 5;
}

/*
 * The words: the timeout in seconds; how often to feed the watchdog, at intervals of half the timeout; 'V' to write it
 * before the close; the seconds to wait after the close.
 */
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
    close(node);
    return 0;
}

/* Waits for two events: by poll for the first, by a blocking read for the second. */
static int event(const char* path) {
    struct input_event events[2];
    struct pollfd wait = {open(path, O_RDONLY | O_CLOEXEC), POLLIN, 0};
    printf("open\n");
    fflush(stdout);
    if (poll(&wait, 1, 100000) != 1 || (wait.revents & POLLIN) == 0) return 1;
    if (read(wait.fd, events, sizeof events) != (ssize_t)sizeof events) return 2;
    printf("%d %d %d\n", events[0].type, events[0].code, events[0].value);
    fflush(stdout);
    if (read(wait.fd, events, sizeof events) != (ssize_t)sizeof events) return 3;
    printf("%d %d %d\n", events[0].type, events[0].code, events[0].value);
    return 0;
}

/* Waits for a change of an attribute, such as a line's edge. */
static int change(const char* path) {
    char text[16];
    struct pollfd wait = {open(path, O_RDONLY | O_CLOEXEC), POLLPRI | POLLERR, 0};
    if (read(wait.fd, text, sizeof text) < 0) return 1;
    printf("open\n");
    fflush(stdout);
    if (poll(&wait, 1, 100000) != 1) return 2;
    const ssize_t length = pread(wait.fd, text, sizeof text, 0);
    return length > 0 && write(STDOUT_FILENO, text, (size_t)length) == length ? 0 : 3;
}

/* Unexports a line while its value is open, and reads the value. */
static int dead_line(void) {
    char text[4];
    const int value = open("/sys/class/gpio/gpio37/value", O_RDONLY | O_CLOEXEC);
    const int node = open("/sys/class/gpio/unexport", O_WRONLY | O_CLOEXEC);
    if (value < 0 || write(node, "37", 2) != 2) return 1;
    printf("%zd ", pread(value, text, sizeof text, 0));
    printf("%s\n", strerrorname_np(errno));
    return 0;
}

static void say_result(long result) {
    printf("%s\n", result < 0 ? strerrorname_np(errno) : "good");
}

static void read_file(const char* path) {
    char text[4096];
    const int node = open(path, O_RDONLY | O_CLOEXEC);
    ssize_t length = node < 0 ? -1 : read(node, text, sizeof text);
    if (length < 0) {
        say_result(-1);
    } else {
        if (length > 0 && text[length - 1] == '\n') length--;
        printf("%.*s\n", (int)length, text);
    }
    if (node >= 0) close(node);
}

static void write_file(const char* path, const char* text) {
    const int node = open(path, O_WRONLY | O_CLOEXEC);
    say_result(node < 0 ? -1 : (long)write(node, text, strlen(text)));
    if (node >= 0) close(node);
}

static void show_attributes(const char* path) {
    struct stat there;
    if (stat(path, &there) != 0) {
        say_result(-1);
    } else {
        printf("%o %u %u %ld\n", there.st_mode, there.st_uid, there.st_gid, (long)there.st_size);
    }
}

static void count_entries(const char* path) {
    DIR* directory = opendir(path);
    int count = 0;
    while (directory != NULL && readdir(directory) != NULL) count++;
    printf("%d\n", count);
    if (directory != NULL) closedir(directory);
}

static void feed(const char* path, const char* seconds) {
    int timeout = atoi(seconds);
    int now = 0;
    int flags = 0;
    const int node = open(path, O_WRONLY | O_CLOEXEC);
    say_result(ioctl(node, WDIOC_SETTIMEOUT, &timeout));
    say_result(ioctl(node, WDIOC_KEEPALIVE, &flags));
    say_result(ioctl(node, WDIOC_GETTIMEOUT, &now));
    printf("%d %d\n", timeout, now);
    say_result((long)write(node, "V", 1));
    close(node);
}

static void options(const char* path, const char* number) {
    int chosen = atoi(number);
    const int node = open(path, O_WRONLY | O_CLOEXEC);
    say_result(ioctl(node, WDIOC_SETOPTIONS, &chosen));
    say_result(ioctl(node, WDIOC_SETOPTIONS, NULL));
    say_result((long)write(node, "V", 1));
    close(node);
}

/* Opens the node twice, and grabs it with one of the two. */
static void grab(const char* path) {
    const int one = open(path, O_RDONLY | O_CLOEXEC);
    const int other = open(path, O_RDONLY | O_CLOEXEC);
    say_result(ioctl(one, EVIOCGRAB, 1));
    say_result(ioctl(other, EVIOCGRAB, 1));
    say_result(ioctl(other, EVIOCGRAB, 0));
    say_result(ioctl(one, EVIOCGRAB, 0));
    close(other);
    close(one);
}

/*
 * Steps: "read PATH", "write PATH TEXT", "stat PATH", "entries PATH", "axes PATH", "feed PATH SECONDS",
 * "options PATH NUMBER", "grab PATH".
 */
static int steps(char** words) {
    while (*words != NULL) {
        const char* step = *words++;
        const char* path = *words++;
        if (strcmp(step, "read") == 0) read_file(path);
        if (strcmp(step, "write") == 0) write_file(path, *words++);
        if (strcmp(step, "stat") == 0) show_attributes(path);
        if (strcmp(step, "entries") == 0) count_entries(path);
        if (strcmp(step, "axes") == 0) axes(path);
        if (strcmp(step, "feed") == 0) feed(path, *words++);
        if (strcmp(step, "options") == 0) options(path, *words++);
        if (strcmp(step, "grab") == 0) grab(path);
    }
    return 0;
}

int main(int count, char** words) {
    if (count == 4 && strcmp(words[1], "restart") == 0) return restart(words[2], words[3], "");
    if (count == 5 && strcmp(words[1], "restart") == 0) return restart(words[2], words[3], words[4]);
    if (count >= 2 && strcmp(words[1], "do") == 0) return steps(words + 2);
    if (count == 6 && strcmp(words[1], "watchdog") == 0) return watchdog(words + 2);
    if (count == 3 && strcmp(words[1], "axes") == 0) return axes(words[2]);
    if (count == 3 && strcmp(words[1], "event") == 0) return event(words[2]);
    if (count == 3 && strcmp(words[1], "change") == 0) return change(words[2]);
    if (count == 2 && strcmp(words[1], "dead-line") == 0) return dead_line();
    return 99;
}
