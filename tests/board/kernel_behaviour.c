/* SPDX-License-Identifier: MIT */

/*
 * The kernel's behaviour that applications meet in the device's files, as one
 * list for both beds: the emulated board and the virtual device
 * ("velmor-sim run --board all-families -- kernel_behaviour"). A row whose beds differ
 * says why; docs/emulated-board.md has the same reasons.
 *
 * HAZARD: for these two only. It refuses to run where neither is.
 */

#include "check.h"
#include "uinput.h"

#include <dirent.h>
#include <linux/watchdog.h>
#include <stdint.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#define LIGHT "/sys/class/backlight/pwm-backlight.0"
#define GPIO "/sys/class/gpio"
#define KEYS "/sys/devices/platform/gpio-keys"
#define BLANK "/sys/class/graphics/fb0/blank"
#define STATE "/sys/power/state"

enum act { write_text, read_text, mode, create, make_directory, take_away };

/*
 * What a write or the like says: the errno's name, or "good". What a read says: the text without its newline. What
 * stat says: the mode and the size.
 */
struct row {
    enum act act;
    const char* path;
    const char* text;
    const char* board;
    const char* device; /* NULL: the same */
    const char* reason;
};

#define SAME(answer) answer, NULL, NULL

static const char width[] = "the kernel's numbers have the processor's word";
static const char blank_shows[] = "the device's own driver shows its state, a mainline one nothing";
static const char key_none[] =
    "the device's own driver takes key 0 for the list of none, a mainline one has no such key";
static const char no_nodes[] = "an ordinary user, who may run the virtual device, can make no device nodes";
static const char wrong_way[] =
    "FUSE copies an argument by the direction in a request's number, and this one's is wrong";

static const struct row rows[] = {
    {write_text, LIGHT "/brightness", "7", SAME("good")},
    {write_text, LIGHT "/brightness", "8", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "-1", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "abc", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "7 ", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "\n", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "", SAME("good")},
    {write_text, LIGHT "/brightness", "4294967295", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "4294967296", "ERANGE", "EINVAL", width},
    {write_text, LIGHT "/brightness", "99999999999999999999", SAME("ERANGE")},
    {read_text, LIGHT "/brightness", NULL, SAME("7")},
    {write_text, LIGHT "/brightness", "0x3\n", SAME("good")},
    {read_text, LIGHT "/brightness", NULL, SAME("3")},
    {write_text, LIGHT "/brightness", "010", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "+4", SAME("good")},
    {write_text, LIGHT "/brightness", " 5", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "5\n\n", SAME("EINVAL")},
    {write_text, LIGHT "/brightness", "5 6", SAME("EINVAL")},
    {read_text, LIGHT "/brightness", NULL, SAME("4")},
    {read_text, LIGHT "/actual_brightness", NULL, SAME("4")},
    {write_text, LIGHT "/actual_brightness", "4", SAME("EACCES")},
    {mode, LIGHT "/brightness", NULL, SAME("100644 4096")},
    {mode, LIGHT "/max_brightness", NULL, SAME("100444 4096")},
    {read_text, LIGHT "/max_brightness", NULL, SAME("7")},
    {write_text, LIGHT "/max_brightness", "7", SAME("EACCES")},
    {read_text, LIGHT "/nothing", NULL, SAME("ENOENT")},
    {create, LIGHT "/nothing", NULL, SAME("EACCES")},
    {make_directory, LIGHT "/nothing", NULL, SAME("EPERM")},
    {take_away, LIGHT "/brightness", NULL, SAME("EPERM")},
    {create, "/proc/self/nothing", NULL, SAME("ENOENT")},

    {write_text, BLANK, "0", SAME("good")},
    {read_text, BLANK, NULL, "", "0", blank_shows},
    {write_text, BLANK, "4", SAME("good")},
    {read_text, BLANK, NULL, "", "4", blank_shows},
    {write_text, BLANK, "9", SAME("good")},
    {read_text, BLANK, NULL, "", "4", blank_shows},
    {write_text, BLANK, "x", SAME("good")},
    {read_text, BLANK, NULL, "", "0", blank_shows},

    {write_text, BLANK, "-1", SAME("good")},
    {mode, BLANK, NULL, SAME("100644 4096")},

    {mode, "/sys/class/watchdog/watchdog0/timeout", NULL, SAME("100444 4096")},
    {read_text, "/sys/class/watchdog/watchdog0/timeleft", NULL, SAME("ENOENT")},

    {mode, STATE, NULL, SAME("100644 4096")},
    {write_text, STATE, "bogus", SAME("EINVAL")},
    {write_text, STATE, "me", SAME("EINVAL")},

    {mode, GPIO "/export", NULL, SAME("100200 4096")},
    {read_text, GPIO "/export", NULL, SAME("EACCES")},
    {write_text, GPIO "/export", "-1", SAME("EINVAL")},
    {write_text, GPIO "/export", " 37", SAME("EINVAL")},
    {write_text, GPIO "/export", "37 38", SAME("EINVAL")},
    {write_text, GPIO "/export", "0x25\n", SAME("good")},
    {write_text, GPIO "/unexport", "37\n", SAME("good")},
    {write_text, GPIO "/export", "9999", SAME("EINVAL")},
    {write_text, GPIO "/export", "abc", SAME("EINVAL")},
    {write_text, GPIO "/unexport", "37", SAME("EINVAL")},
    {write_text, GPIO "/export", "37", SAME("good")},
    {write_text, GPIO "/export", "37", SAME("EBUSY")},
    {write_text, GPIO "/gpio37/direction", "in", SAME("good")},
    {read_text, GPIO "/gpio37/direction", NULL, SAME("in")},
    {read_text, GPIO "/gpio37/edge", NULL, SAME("none")},
    {read_text, GPIO "/gpio37/active_low", NULL, SAME("0")},
    {mode, GPIO "/gpio37/value", NULL, SAME("100644 4096")},
    {write_text, GPIO "/gpio37/edge", "up", SAME("EINVAL")},
    {write_text, GPIO "/gpio37/edge", "rising", SAME("good")},
    {read_text, GPIO "/gpio37/edge", NULL, SAME("rising")},
    {write_text, GPIO "/gpio37/direction", "out", SAME("good")},
    {read_text, GPIO "/gpio37/direction", NULL, SAME("out")},
    {write_text, GPIO "/gpio37/edge", "none", SAME("good")},
    {write_text, GPIO "/gpio37/direction", "in", SAME("good")},
    {write_text, GPIO "/gpio37/value", "1", SAME("EPERM")},
    {write_text, GPIO "/gpio37/direction", "up", SAME("EINVAL")},
    {write_text, GPIO "/gpio37/direction", "OUT", SAME("EINVAL")},
    {write_text, GPIO "/gpio37/direction", "out", SAME("good")},
    {read_text, GPIO "/gpio37/value", NULL, SAME("0")},
    {write_text, GPIO "/gpio37/value", "1", SAME("good")},
    {read_text, GPIO "/gpio37/value", NULL, SAME("1")},
    {write_text, GPIO "/gpio37/value", "abc", SAME("EINVAL")},
    {write_text, GPIO "/gpio37/value", "0", SAME("good")},
    {write_text, GPIO "/gpio37/value", "5", SAME("good")},
    {read_text, GPIO "/gpio37/value", NULL, SAME("1")},
    {write_text, GPIO "/gpio37/direction", "low", SAME("good")},
    {read_text, GPIO "/gpio37/direction", NULL, SAME("out")},
    {read_text, GPIO "/gpio37/value", NULL, SAME("0")},
    {write_text, GPIO "/gpio37/direction", "high\n", SAME("good")},
    {read_text, GPIO "/gpio37/value", NULL, SAME("1")},
    {write_text, GPIO "/gpio37/active_low", "1", SAME("good")},
    {read_text, GPIO "/gpio37/value", NULL, SAME("0")},
    {write_text, GPIO "/gpio37/value", "1", SAME("good")},
    {write_text, GPIO "/gpio37/active_low", "0", SAME("good")},
    {read_text, GPIO "/gpio37/value", NULL, SAME("0")},
    {write_text, GPIO "/unexport", "37", SAME("good")},
    {write_text, GPIO "/unexport", "37", SAME("EINVAL")},
    {read_text, GPIO "/gpio37/value", NULL, SAME("ENOENT")},

    {write_text, KEYS "/keys", "31", SAME("EACCES")},
    {write_text, KEYS "/disabled_keys", "31,", SAME("good")},
    {read_text, KEYS "/disabled_keys", NULL, SAME("31")},
    {write_text, KEYS "/disabled_keys", "500", SAME("EINVAL")},
    {write_text, KEYS "/disabled_keys", "768", SAME("ERANGE")},
    {write_text, KEYS "/disabled_keys", "abc", SAME("EINVAL")},
    {read_text, KEYS "/disabled_keys", NULL, SAME("31")},
    {write_text, KEYS "/disabled_keys", "116,31,", SAME("good")},
    {read_text, KEYS "/disabled_keys", NULL, SAME("31,116")},
    {write_text, KEYS "/disabled_keys", "31-31", SAME("good")},
    {read_text, KEYS "/disabled_keys", NULL, SAME("31")},
    {write_text, KEYS "/disabled_keys", "31-", SAME("EINVAL")},
    {write_text, KEYS "/disabled_keys", "33-31", SAME("EINVAL")},
    {write_text, KEYS "/disabled_keys", "-1", SAME("EINVAL")},
    {write_text, KEYS "/disabled_keys", " 116 31 ,", SAME("good")},
    {read_text, KEYS "/disabled_keys", NULL, SAME("31,116")},
    {mode, KEYS "/keys", NULL, SAME("100444 4096")},
    {mode, KEYS "/disabled_keys", NULL, SAME("100644 4096")},
    {write_text, KEYS "/disabled_keys", "0,", "EINVAL", "good", key_none},
    {read_text, KEYS "/disabled_keys", NULL, "31,116", "", key_none},
    {write_text, KEYS "/disabled_keys", "\n", SAME("good")},
    {read_text, KEYS "/disabled_keys", NULL, SAME("")},
};

static bool on_board;

static const char* name_of(int error) {
    return error == 0 ? "good" : strerrorname_np(error);
}

static void report(const char* what, const char* board, const char* device, const char* reason, const char* got) {
    const char* expected = on_board || device == NULL ? board : device;

    ++tally->number;
    if (strcmp(got, expected) == 0) {
        printf("ok %d - %s: %s%s%s\n", tally->number, what, got, device == NULL ? "" : " # ",
               device == NULL ? "" : reason);
    } else {
        ++tally->failed;
        printf("not ok %d - %s: %s, not %s\n", tally->number, what, got, expected);
    }
}

static void same(const char* what, const char* expected, const char* got) {
    report(what, expected, NULL, NULL, got);
}

/* The text of a read, or the name of the error. */
static const char* done(const struct row* row) {
    static char text[4096];
    struct stat status = {0};
    ssize_t length = 0;
    int result = 0;
    int error;
    int fd = -1;

    errno = 0;
    switch (row->act) {
        case write_text:
            fd = open(row->path, O_WRONLY | O_TRUNC | O_CLOEXEC);
            if (fd < 0 || (length = write(fd, row->text, strlen(row->text))) < 0) result = -1;
            if (result == 0 && length != (ssize_t)strlen(row->text)) return "a part";
            break;
        case read_text:
            fd = open(row->path, O_RDONLY | O_CLOEXEC);
            length = fd < 0 ? -1 : read(fd, text, sizeof text - 1);
            if (length < 0) result = -1;
            break;
        case mode:
            result = stat(row->path, &status);
            snprintf(text, sizeof text, "%o %ld", (unsigned)status.st_mode, (long)status.st_size);
            length = (ssize_t)strlen(text);
            break;
        case create: result = fd = open(row->path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644); break;
        case make_directory: result = mkdir(row->path, 0755); break;
        case take_away: result = unlink(row->path); break;
    }
    error = result < 0 ? errno : 0;
    if (fd >= 0) close(fd);
    if (error != 0 || (row->act != read_text && row->act != mode)) return name_of(error);
    if (length > 0 && text[length - 1] == '\n') --length;
    text[length] = '\0';
    return text;
}

static void check_rows(void) {
    static const char* const acts[] = {"write", "read", "stat", "create", "mkdir", "unlink"};
    size_t i, j;
    char what[256];
    char shown[64];

    for (i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        const struct row* row = &rows[i];
        size_t length = 0;

        for (j = 0; row->text != NULL && row->text[j] != '\0'; ++j)
            length += (size_t)snprintf(shown + length, sizeof shown - length, row->text[j] == '\n' ? "\\n" : "%c",
                                       row->text[j]);
        shown[length] = '\0';
        snprintf(what, sizeof what, "%s %s%s%s%s", acts[row->act], row->path, row->text == NULL ? "" : " \"", shown,
                 row->text == NULL ? "" : "\"");
        report(what, row->board, row->device, row->reason, done(row));
    }
}

/* What one open descriptor sees. */
static void check_descriptors(void) {
    char text[16];
    ssize_t length;
    int fd, other;

    fd = open(LIGHT "/brightness", O_RDWR | O_CLOEXEC);
    same("brightness opens for both", "good", name_of(fd < 0 ? errno : 0));
    length = pread(fd, text, sizeof text, 0);
    same("it has a line", "good", length == 2 && text[1] == '\n' ? "good" : "another");
    same("at its end there is nothing", "good", pread(fd, text, sizeof text, 2) == 0 ? "good" : "more");
    same("a second write on it", "good", pwrite(fd, "5", 1, 1) == 1 ? "good" : name_of(errno));
    length = pread(fd, text, sizeof text, 0);
    same("is read on it", "good", length == 2 && text[0] == '5' ? "good" : "another");
    close(fd);

    other = open(GPIO "/export", O_WRONLY | O_CLOEXEC);
    length = write(other, "37", 2);
    close(other);
    fd = open(GPIO "/gpio37/value", O_RDONLY | O_CLOEXEC);
    other = open(GPIO "/unexport", O_WRONLY | O_CLOEXEC);
    length = write(other, "37", 2);
    close(other);
    length = pread(fd, text, sizeof text, 0);
    same("a line given back while it is open", "ENODEV", name_of(length < 0 ? errno : 0));
    close(fd);
}

static const char* ioctl_said(int fd, unsigned long request, void* argument) {
    return name_of(ioctl(fd, request, argument) < 0 ? errno : 0);
}

static const char* kind_of(const char* path) {
    struct stat status = {0};

    if (stat(path, &status) != 0) return name_of(errno);
    if (S_ISCHR(status.st_mode)) return "of characters";
    return S_ISREG(status.st_mode) ? "a file" : "another";
}

static void check_watchdog(void) {
    static const unsigned able = WDIOF_KEEPALIVEPING | WDIOF_SETTIMEOUT | WDIOF_MAGICCLOSE;
    struct watchdog_info info = {0};
    int seconds = 30;
    int second;
    int fd = open("/dev/watchdog", O_WRONLY | O_CLOEXEC);

    report("the watchdog's node", "of characters", "a file", no_nodes, kind_of("/dev/watchdog"));
    same("the watchdog opens", "good", name_of(fd < 0 ? errno : 0));
    second = open("/dev/watchdog", O_WRONLY | O_CLOEXEC);
    same("a second open of it", "EBUSY", name_of(second < 0 ? errno : 0));
    same("WDIOC_SETTIMEOUT 30", "good", ioctl_said(fd, WDIOC_SETTIMEOUT, &seconds));
    seconds = 0;
    same("WDIOC_GETTIMEOUT", "good", ioctl_said(fd, WDIOC_GETTIMEOUT, &seconds));
    same("it is 30", "good", seconds == 30 ? "good" : "another");
    seconds = 0;
    same("WDIOC_SETTIMEOUT 0", "EINVAL", ioctl_said(fd, WDIOC_SETTIMEOUT, &seconds));
    same("WDIOC_KEEPALIVE", "good", ioctl_said(fd, WDIOC_KEEPALIVE, &seconds));
    same("WDIOC_KEEPALIVE without an argument", "good", ioctl_said(fd, WDIOC_KEEPALIVE, NULL));
    same("WDIOC_SETTIMEOUT without an argument", "EFAULT", ioctl_said(fd, WDIOC_SETTIMEOUT, NULL));
    same("an axis of the watchdog", "ENOTTY", ioctl_said(fd, EVIOCGABS(0), &(struct input_absinfo){0}));
    seconds = -1;
    same("WDIOC_SETTIMEOUT -1", "EINVAL", ioctl_said(fd, WDIOC_SETTIMEOUT, &seconds));
    same("WDIOC_GETTIMEOUT", "good", ioctl_said(fd, WDIOC_GETTIMEOUT, &seconds));
    same("it is still 30", "good", seconds == 30 ? "good" : "another");
    seconds = 200;
    same("WDIOC_SETTIMEOUT 200, beyond the hardware's own", "good", ioctl_said(fd, WDIOC_SETTIMEOUT, &seconds));
    same("WDIOC_GETTIMELEFT", "EOPNOTSUPP", ioctl_said(fd, WDIOC_GETTIMELEFT, &seconds));
    same("WDIOC_GETSTATUS", "good", ioctl_said(fd, WDIOC_GETSTATUS, &seconds));
    same("WDIOC_GETSUPPORT", "good", ioctl_said(fd, WDIOC_GETSUPPORT, &info));
    same("it can be fed, set and stopped", "good", (info.options & able) == able ? "good" : "another");
    seconds = WDIOS_ENABLECARD;
    report("WDIOC_SETOPTIONS", "good", "EFAULT", wrong_way, ioctl_said(fd, WDIOC_SETOPTIONS, &seconds));
    same("WDIOC_GETTEMP", "ENOTTY", ioctl_said(fd, WDIOC_GETTEMP, &seconds));
    same("a seek", "ESPIPE", name_of(lseek(fd, 0, SEEK_SET) < 0 ? errno : 0));
    same("a read", "EBADF", name_of(read(fd, &seconds, 1) < 0 ? errno : 0));
    same("a write feeds it", "good", write(fd, "x", 1) == 1 ? "good" : name_of(errno));
    same("the magic character", "good", write(fd, "V", 1) == 1 ? "good" : name_of(errno));
    close(fd);
    fd = open("/dev/watchdog", O_WRONLY | O_CLOEXEC);
    same("it opens again", "good", name_of(fd < 0 ? errno : 0));
    same("the magic character again", "good", write(fd, "V", 1) == 1 ? "good" : name_of(errno));
    close(fd);
}

/* There may be events from before; then there are none. */
static const char* read_events(int fd) {
    struct input_event event;
    ssize_t length;

    while ((length = read(fd, &event, sizeof event)) == (ssize_t)sizeof event) continue;
    return length < 0 && errno == EAGAIN ? "good" : name_of(errno);
}

static void check_input(void) {
    int version = 0;
    struct input_absinfo axis;
    const char* node = on_board ? "/dev/input/event0" : "/dev/input/event2";
    int fd = open(node, O_RDONLY | O_NONBLOCK | O_CLOEXEC);

    report("the keys' node", "of characters", "a file", no_nodes, kind_of(node));
    same("the keys' node opens", "good", name_of(fd < 0 ? errno : 0));
    same("EVIOCGVERSION", "good", ioctl_said(fd, EVIOCGVERSION, &version));
    same("a read without an event", "good", read_events(fd));
    same("a short read", "EINVAL", name_of(read(fd, &version, sizeof version) < 0 ? errno : 0));
    same("a write to what was opened for reading", "EBADF", name_of(write(fd, "x", 1) < 0 ? errno : 0));
    same("an axis of keys", "EINVAL", ioctl_said(fd, EVIOCGABS(0), &axis));
    same("a watchdog's request", "EINVAL", ioctl_said(fd, WDIOC_KEEPALIVE, &axis));
    close(fd);
}

/* The node of this uinput device: "/dev/input/event5". */
static void find_node(int uinput, char* node, size_t size) {
    char sysname[64];
    char path[128];
    DIR* directory;
    struct dirent* entry;

    node[0] = '\0';
    if (ioctl(uinput, UI_GET_SYSNAME(sizeof sysname), sysname) < 0) return;
    snprintf(path, sizeof path, "/sys/devices/virtual/input/%s", sysname);
    directory = opendir(path);
    if (directory == NULL) return;
    while ((entry = readdir(directory)) != NULL)
        if (strncmp(entry->d_name, "event", 5) == 0) snprintf(node, size, "/dev/input/%.16s", entry->d_name);
    closedir(directory);
}

static void check_axis(void) {
    static const int axes[] = {ABS_X, ABS_Y, ABS_Z};
    struct input_absinfo axis;
    char node[64] = "/dev/input/event0";
    int fd, uinput = -1;

    if (on_board) {
        uinput = make_input("axes", axes, 3);
        find_node(uinput, node, sizeof node);
        move_axis(uinput, ABS_X, -12);
    }
    fd = open(node, O_RDONLY | O_CLOEXEC);
    same("an axis's node opens", "good", name_of(fd < 0 ? errno : 0));
    same("EVIOCGABS", "good", ioctl_said(fd, EVIOCGABS(ABS_X), &axis));
    same("it has the value and the range", "good",
         axis.value == -12 && axis.minimum == -2048 && axis.maximum == 2047 ? "good" : "another");
    same("EVIOCGABS of an axis that the device lacks", "good", ioctl_said(fd, EVIOCGABS(ABS_THROTTLE), &axis));
    same("it is all zeros", "good", axis.value == 0 && axis.minimum == 0 && axis.maximum == 0 ? "good" : "another");
    same("EVIOCGABS without an argument", "EFAULT", ioctl_said(fd, EVIOCGABS(ABS_X), NULL));
    same("a watchdog's request of an axis", "EINVAL", ioctl_said(fd, WDIOC_KEEPALIVE, &axis));
    close(fd);
    if (on_board) close(uinput);
}

int main(void) {
    on_board = on_emulated_board();
    begin_checks(on_board || (exists("/.vdev") && exists(LIGHT "/brightness")),
                 "neither the emulated board nor the virtual device");

    interface("the kernel's behaviour", "(the list that the virtual device is held to)");
    check_rows();
    check_descriptors();
    check_watchdog();
    check_input();
    check_axis();

    return end_checks();
}
