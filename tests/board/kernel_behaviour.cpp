// SPDX-License-Identifier: MIT
// The kernel's behaviour that applications meet in the device's files: one list for the emulated board and for the
// virtual device ("velmor-sim run --board all-families -- kernel_behaviour"). Where the two differ a comment says why;
// docs/emulated-board.md has the same reasons.
//
// HAZARD: for these two only. It refuses to run elsewhere.

#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <filesystem>
#include <string>

#include "board/check.h"
#include "board/uinput.h"

using namespace board;

namespace fs = std::filesystem;

namespace {

const bool on_board = on_emulated_board();

/** What is expected where the two differ. */
std::string differs(const std::string& board, const std::string& virtual_device) {
    return on_board ? board : virtual_device;
}

/** What a system call returns, or the name of the error. */
std::string number(long result) {
    return result < 0 ? outcome(result) : std::to_string(result);
}

void check_mode(const File& file, const std::string& mode) {
    struct stat status = {};
    std::array<char, 32> text = {};
    const int result = stat(file.path.c_str(), &status);
    std::snprintf(text.data(), text.size(), "%o %ld", status.st_mode, static_cast<long>(status.st_size));
    check("stat " + file.path, mode, result < 0 ? outcome(result) : text.data());
}

void check_create(const std::string& path, const std::string& error) {
    check("create " + path, error, outcome(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644)));
}

// ---- What files show and accept ------------------------------------------------------------------------------------

const std::string light = "/sys/class/backlight/pwm-backlight.0/";
const File brightness = {light + "brightness"};

void check_backlight() {
    brightness.accepts("7");
    brightness.rejects({"8", "-1", "abc", "7 ", "\n"}, "EINVAL");
    brightness.accepts("");
    brightness.rejects({"4294967295"}, "EINVAL");
    // The kernel's numbers have as many bits as a word of the processor.
    brightness.rejects({"4294967296"}, differs("ERANGE", "EINVAL"));
    brightness.rejects({"99999999999999999999"}, "ERANGE").reads("7");
    brightness.accepts("0x3\n").reads("3");
    brightness.rejects({"010"}, "EINVAL");
    brightness.accepts("+4");
    brightness.rejects({" 5", "5\n\n", "5 6"}, "EINVAL").reads("4");
    File{light + "actual_brightness"}.reads("4").rejects({"4"}, "EACCES");
    check_mode(brightness, "100644 4096");

    const File max_brightness = {light + "max_brightness"};
    check_mode(max_brightness, "100444 4096");
    max_brightness.reads("7").rejects({"7"}, "EACCES");
}

void check_directory() {
    const std::string nothing = light + "nothing";
    File{nothing}.reads("ENOENT");
    check_create(nothing, "EACCES");
    check("mkdir " + nothing, "EPERM", outcome(mkdir(nothing.c_str(), 0755)));
    check("unlink " + brightness.path, "EPERM", outcome(unlink(brightness.path.c_str())));
    check_create("/proc/self/nothing", "ENOENT");
}

void check_blank() {
    const File blank = {"/sys/class/graphics/fb0/blank"};
    // The device's own driver shows its state, a mainline one nothing.
    blank.accepts("0").reads(differs("", "0"));
    blank.accepts("4").reads(differs("", "4"));
    blank.accepts("9").reads(differs("", "4"));
    blank.accepts("x").reads(differs("", "0"));
    blank.accepts("-1");
    check_mode(blank, "100644 4096");
}

void check_watchdog_and_power_files() {
    const File state = {"/sys/power/state"};
    check_mode({"/sys/class/watchdog/watchdog0/timeout"}, "100444 4096");
    File{"/sys/class/watchdog/watchdog0/timeleft"}.reads("ENOENT");
    check_mode(state, "100644 4096");
    state.rejects({"bogus", "me"}, "EINVAL");
}

const std::string gpio = "/sys/class/gpio/";
const File export_file = {gpio + "export"};
const File unexport_file = {gpio + "unexport"};
const File value = {gpio + "gpio37/value"};

void check_export() {
    check_mode(export_file, "100200 4096");
    export_file.reads("EACCES").rejects({"-1", " 37", "37 38"}, "EINVAL").accepts("0x25\n");
    unexport_file.accepts("37\n");
    export_file.rejects({"9999", "abc"}, "EINVAL");
    unexport_file.rejects({"37"}, "EINVAL");
    export_file.accepts("37").rejects({"37"}, "EBUSY");
}

/** Of line 37, which is exported before, and given back here. */
void check_line() {
    const File direction = {gpio + "gpio37/direction"};
    const File edge = {gpio + "gpio37/edge"};
    const File active_low = {gpio + "gpio37/active_low"};
    direction.accepts("in").reads("in");
    edge.reads("none");
    active_low.reads("0");
    check_mode(value, "100644 4096");
    edge.rejects({"up"}, "EINVAL").accepts("rising").reads("rising");
    direction.accepts("out").reads("out");
    edge.accepts("none");
    direction.accepts("in");
    value.rejects({"1"}, "EPERM");
    direction.rejects({"up", "OUT"}, "EINVAL");

    direction.accepts("out");
    value.reads("0").accepts("1").reads("1");
    value.rejects({"abc"}, "EINVAL").accepts("0").accepts("5").reads("1");
    direction.accepts("low").reads("out");
    value.reads("0");
    direction.accepts("high\n");
    value.reads("1");
    active_low.accepts("1");
    value.reads("0").accepts("1");
    active_low.accepts("0");
    value.reads("0");

    unexport_file.accepts("37").rejects({"37"}, "EINVAL");
    value.reads("ENOENT");
}

void check_keys() {
    const std::string driver = "/sys/devices/platform/gpio-keys/";
    const File keys = {driver + "keys"};
    const File disabled = {driver + "disabled_keys"};
    keys.rejects({"31"}, "EACCES");
    disabled.accepts("31,").reads("31");
    disabled.rejects({"500"}, "EINVAL").rejects({"768"}, "ERANGE").rejects({"abc"}, "EINVAL").reads("31");
    disabled.accepts("116,31,").reads("31,116");
    disabled.accepts("31-31").reads("31");
    disabled.rejects({"31-", "33-31", "-1"}, "EINVAL");
    disabled.accepts(" 116 31 ,").reads("31,116");
    check_mode(keys, "100444 4096");
    check_mode(disabled, "100644 4096");
    // The device's own driver takes key 0 for an empty list; a mainline one has no such key.
    disabled.rejects({"0,"}, differs("EINVAL", "good")).reads(differs("31,116", ""));
    disabled.accepts("\n").reads("");
}

// ---- What one descriptor sees --------------------------------------------------------------------------------------

/** What a descriptor reads at this place, or the name of the error. */
std::string read_at(int fd, off_t place) {
    std::array<char, 16> text = {};
    const ssize_t length = pread(fd, text.data(), text.size(), place);
    return length < 0 ? outcome(length) : std::string(text.data(), static_cast<std::size_t>(length));
}

void check_descriptors() {
    int fd = open(brightness.path.c_str(), O_RDWR | O_CLOEXEC);
    check("brightness opens for both", "good", outcome(fd));
    check("it has a line", shown("4\n"), shown(read_at(fd, 0)));
    check("at its end there is nothing", "", read_at(fd, 2));
    check("a second write on it", "1", number(pwrite(fd, "5", 1, 1)));
    check("is read on it", shown("5\n"), shown(read_at(fd, 0)));
    close(fd);

    export_file.accepts("37");
    fd = open(value.path.c_str(), O_RDONLY | O_CLOEXEC);
    unexport_file.accepts("37");
    check("a line given back while it is open", "ENODEV", read_at(fd, 0));
    close(fd);
}

// ---- Device nodes --------------------------------------------------------------------------------------------------

void check_node(const std::string& path) {
    const bool is_device = fs::is_character_file(path);
    const bool is_file = fs::is_regular_file(path);
    // An ordinary user, who may run the virtual device, can make no device nodes.
    check(path, differs("a character device", "a file"),
          is_device ? "a character device"
          : is_file ? "a file"
                    : "other");
}

/** The number that a request stores, or the name of the error. */
std::string request(int fd, unsigned long code, int argument = 0) {
    const int result = ioctl(fd, code, &argument);
    return result < 0 ? outcome(result) : std::to_string(argument);
}

void check_watchdog() {
    check_node("/dev/watchdog");
    int fd = open("/dev/watchdog", O_WRONLY | O_CLOEXEC);
    check("the watchdog opens", "good", outcome(fd));
    check("a second open of it", "EBUSY", outcome(open("/dev/watchdog", O_WRONLY | O_CLOEXEC)));
    check("WDIOC_SETTIMEOUT 30", "30", request(fd, WDIOC_SETTIMEOUT, 30));
    check("WDIOC_GETTIMEOUT", "30", request(fd, WDIOC_GETTIMEOUT));
    check("WDIOC_SETTIMEOUT 0", "EINVAL", request(fd, WDIOC_SETTIMEOUT, 0));
    check("WDIOC_KEEPALIVE", "0", request(fd, WDIOC_KEEPALIVE));
    check("WDIOC_KEEPALIVE without an argument", "good", outcome(ioctl(fd, WDIOC_KEEPALIVE, nullptr)));
    check("WDIOC_SETTIMEOUT without an argument", "EFAULT", outcome(ioctl(fd, WDIOC_SETTIMEOUT, nullptr)));
    input_absinfo axis = {};
    check("an axis of the watchdog", "ENOTTY", outcome(ioctl(fd, EVIOCGABS(0), &axis)));
    check("WDIOC_SETTIMEOUT -1", "EINVAL", request(fd, WDIOC_SETTIMEOUT, -1));
    check("WDIOC_GETTIMEOUT", "30", request(fd, WDIOC_GETTIMEOUT));
    check("WDIOC_SETTIMEOUT 200, beyond the hardware's own", "200", request(fd, WDIOC_SETTIMEOUT, 200));
    check("WDIOC_GETTIMELEFT", "EOPNOTSUPP", request(fd, WDIOC_GETTIMELEFT));
    int status = 0;
    check("WDIOC_GETSTATUS", "good", outcome(ioctl(fd, WDIOC_GETSTATUS, &status)));
    watchdog_info info = {};
    check("WDIOC_GETSUPPORT", "good", outcome(ioctl(fd, WDIOC_GETSUPPORT, &info)));
    constexpr unsigned able = WDIOF_KEEPALIVEPING | WDIOF_SETTIMEOUT | WDIOF_MAGICCLOSE;
    check("it can be fed, set and stopped", std::to_string(able), std::to_string(info.options & able));
    check("WDIOC_SETOPTIONS", std::to_string(WDIOS_ENABLECARD), request(fd, WDIOC_SETOPTIONS, WDIOS_ENABLECARD));
    check("WDIOC_GETTEMP", "ENOTTY", request(fd, WDIOC_GETTEMP));
    check("a seek", "ESPIPE", outcome(lseek(fd, 0, SEEK_SET)));
    char byte = 0;
    check("a read", "EBADF", outcome(read(fd, &byte, 1)));
    check("a write feeds it", "1", number(write(fd, "x", 1)));
    check("the magic character", "1", number(write(fd, "V", 1)));
    close(fd);
    fd = open("/dev/watchdog", O_WRONLY | O_CLOEXEC);
    check("it opens again", "good", outcome(fd));
    check("the magic character again", "1", number(write(fd, "V", 1)));
    close(fd);
}

/** There may be events from before. */
std::string read_all_events(int fd) {
    input_event event = {};
    ssize_t length = 0;
    do {
        length = read(fd, &event, sizeof event);
    } while (length == ssize_t{sizeof event});
    return outcome(length);
}

void check_input() {
    const std::string node = on_board ? "/dev/input/event0" : "/dev/input/event2";
    const int fd = open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    int number = 0;
    input_absinfo axis = {};
    check_node(node);
    check("the keys' node opens", "good", outcome(fd));
    check("EVIOCGVERSION", "good", outcome(ioctl(fd, EVIOCGVERSION, &number)));
    check("a read without an event", "EAGAIN", read_all_events(fd));
    check("a short read", "EINVAL", outcome(read(fd, &number, sizeof number)));
    check("a write to what was opened for reading", "EBADF", outcome(write(fd, "x", 1)));
    check("an axis of keys", "EINVAL", outcome(ioctl(fd, EVIOCGABS(0), &axis)));
    check("a watchdog's request", "EINVAL", request(fd, WDIOC_KEEPALIVE));
    close(fd);
}

/** The node of a uinput device: "/dev/input/event5". */
std::string node_of(int uinput) {
    std::array<char, 64> name = {};
    if (ioctl(uinput, UI_GET_SYSNAME(name.size()), name.data()) < 0) return "none";
    for (const auto& entry : fs::directory_iterator(fs::path("/sys/devices/virtual/input") / name.data())) {
        const std::string file = entry.path().filename();
        if (file.starts_with("event")) return "/dev/input/" + file;
    }
    return "none";
}

/** The value and the range of an axis, or the name of the error. */
std::string axis_of(int fd, unsigned code) {
    input_absinfo axis = {-1, -1, -1, -1, -1, -1};
    if (ioctl(fd, EVIOCGABS(code), &axis) < 0) return outcome(-1);
    return std::to_string(axis.value) + " of " + std::to_string(axis.minimum) + " to " + std::to_string(axis.maximum);
}

void check_axis() {
    const int uinput = on_board ? make_input("axes", {ABS_X, ABS_Y, ABS_Z}) : -1;
    if (on_board) move_axis(uinput, ABS_X, -12);
    const int fd = open((on_board ? node_of(uinput) : "/dev/input/event0").c_str(), O_RDONLY | O_CLOEXEC);
    check("an axis's node opens", "good", outcome(fd));
    check("EVIOCGABS", "-12 of -2048 to 2047", axis_of(fd, ABS_X));
    check("EVIOCGABS of an axis that the device lacks", "0 of 0 to 0", axis_of(fd, ABS_THROTTLE));
    check("EVIOCGABS without an argument", "EFAULT", outcome(ioctl(fd, EVIOCGABS(ABS_X), nullptr)));
    check("a watchdog's request of an axis", "EINVAL", request(fd, WDIOC_KEEPALIVE));
    close(fd);
    close(uinput);
}

}  // namespace

int main() {
    begin_checks(on_board || (fs::exists("/.vdev") && fs::exists(brightness.path)),
                 "neither the emulated board nor the virtual device");
    interface("the kernel's behaviour", "(the list that the virtual device is held to)");
    check_backlight();
    check_directory();
    check_blank();
    check_watchdog_and_power_files();
    check_export();
    check_line();
    check_keys();
    check_descriptors();
    check_watchdog();
    check_input();
    check_axis();
    return end_checks();
}
