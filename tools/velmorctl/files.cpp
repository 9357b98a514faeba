// SPDX-License-Identifier: MIT
#include "files.h"

#include <fcntl.h>
#include <glob.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <system_error>

namespace VelmorCtl {

namespace {

constexpr int any_index = -1;

std::vector<File> platform_files() {
    const std::string folder = "/proc/platform/";
    const std::string readers = "platform_info_get platform_can_unique_num_get";
    std::vector<File> all = {
        {"platform", 0, folder + "pht_version", Text::table_version, "start"},
        {"platform", 0, folder + "pht", Text::table, "start"},
    };
    for (const char* software : {"boot", "splash", "os"}) {
        for (const char* field : {"date_day", "date_month", "date_year", "version_major", "version_minor",
                                  "version_revision", "version_status", "version_build", "version_development"}) {
            const Text text = std::string(field) == "version_status" ? Text::word : Text::number;
            all.push_back({"platform", 0, folder + software + "_" + field, text, readers});
        }
    }
    all.push_back({"platform", 0, "/etc/fs_version", Text::release, readers});
    all.push_back({"platform", 0, folder + "serial_number", Text::word, readers});
    all.push_back({"platform", 0, folder + "compatibility_version", Text::number, readers});
    return all;
}

std::vector<File> thermal_files(int zone, Fitted fitted) {
    const std::string folder = "/sys/class/thermal/thermal_zone" + std::to_string(zone) + "/";
    std::vector<File> all = {{"thermal", zone, folder + "temp", Text::number, "thermal_state_get", "", fitted}};
    for (const char* trip : {"0", "1", "2", "3"}) {
        const std::string point = folder + "trip_point_" + trip;
        all.push_back({"thermal", zone, point + "_type", Text::trip_type, "start", "", fitted});
        all.push_back({"thermal", zone, point + "_temp", Text::number, "thermal_state_get", "", fitted});
    }
    return all;
}

std::vector<File> mrfi_files(int index) {
    const std::string folder = "/sys/class/mrfi/mrfi" + std::to_string(index) + "/";
    const auto file = [&](const char* name, Text text, const char* readers, const char* writers = "") {
        return File{"mrfi", index, folder + name, text, readers, writers, Fitted::other_boards};
    };
    return {
        file("address", Text::address, "mrfi_address_get"),
        file("type", Text::number, "mrfi_type_get"),
        file("rssi", Text::number, "mrfi_rssi_get"),
        file("autolink", Text::flag, "mrfi_autolink_get", "mrfi_autolink_set"),
        file("connections", Text::addresses, "mrfi_connection_list_open"),
        file("devices", Text::addresses, "mrfi_device_list_open"),
        file("link", Text::write_only, "", "mrfi_link"),
        file("unlink", Text::write_only, "", "mrfi_unlink"),
    };
}

std::vector<File> all_files() {
    const std::string light = "/sys/class/backlight/pwm-backlight.0/";
    const std::string pwm_1 = "/sys/devices/platform/mxc_pwm.1/";
    const std::string pwm_2 = "/sys/devices/platform/mxc_pwm.2/";
    const std::string keys = "/sys/devices/platform/gpio-keys/";
    const std::string gpio_users = "io_get io_set wifi_antenna_set bluetooth_antenna_set serial_mux";
    const std::string gpio_setters = "io_set wifi_antenna_set bluetooth_antenna_set serial_mux";
    std::vector<File> all = platform_files();
    const auto add = [&all](const std::vector<File>& more) { all.insert(all.end(), more.begin(), more.end()); };
    add({
        {"backlight", 0, light + "max_brightness", Text::number, "start"},
        {"backlight", 0, light + "brightness", Text::number, "backlight_get", "backlight_set"},
        {"backlight", 1, pwm_2 + "period", Text::number, "start backlight_get backlight_set", "start",
         Fitted::other_boards},
        {"backlight", 1, pwm_2 + "duty", Text::number, "start backlight_get", "start backlight_set",
         Fitted::other_boards},
        {"backlight", 1, pwm_2 + "status", Text::number, "backlight_get", "backlight_set", Fitted::other_boards},
        {"display", 0, "/sys/class/graphics/fb0/blank", Text::number, "display_get", "display_set"},
        {"display", 1, "/sys/class/graphics/fb1/blank", Text::number, "display_get", "display_set",
         Fitted::other_boards},
        {"led", 0, "/sys/class/leds/keypad/color", Text::numbers, "led_color_get", "led_color_set",
         Fitted::other_boards},
        {"io", 0, pwm_1 + "period", Text::number, "start io_config_get io_config_set", "start io_config_set"},
        {"io", 0, pwm_1 + "duty", Text::number, "start io_config_get io_config_set", "start io_config_set"},
        {"io", 0, pwm_1 + "status", Text::number, "io_get", "io_set"},
        {"io", 9, "/sys/devices/platform/gps.0/enable", Text::number, "io_get", "io_set"},
        {"io", 11, "/sys/devices/platform/echosounder.0/reset", Text::number, "io_get", "io_set", Fitted::by_table},
        {"gpio", any_index, "/sys/class/gpio/export", Text::write_only, "", gpio_users, Fitted::other_boards},
        {"gpio", any_index, "/sys/class/gpio/unexport", Text::write_only, "", gpio_users, Fitted::other_boards},
        {"gpio", any_index, "/sys/class/gpio/gpio*/direction", Text::word, "", gpio_users, Fitted::other_boards},
        {"gpio", any_index, "/sys/class/gpio/gpio*/value", Text::number, "io_get", gpio_setters, Fitted::other_boards},
    });
    add(thermal_files(0, Fitted::always));
    add(thermal_files(1, Fitted::other_boards));
    add({
        {"power", 0, "/sys/power/state", Text::write_only, "", "power_suspend"},
        {"power", 0, "/sbin/reboot", Text::program, "power_reboot"},
        {"power", 0, "/sbin/poweroff", Text::program, "power_shutdown", "", Fitted::other_boards},
        {"watchdog", 0, "/dev/watchdog", Text::node, "", "watchdog_enable watchdog_refresh watchdog_disable"},
        {"attitude", 0, "/dev/input/event0", Text::node, "attitude_get", "", Fitted::other_boards},
        {"motion", 0, "/dev/input/event1", Text::node, "car_motion_get", "", Fitted::other_boards},
        {"serial", any_index, keys + "keys", Text::word, "serial_alt_func_has serial_alt_func_set", "",
         Fitted::other_boards},
        {"serial", any_index, keys + "disabled_keys", Text::any, "serial_alt_func_set", "serial_alt_func_set",
         Fitted::other_boards},
    });
    add(mrfi_files(0));
    add(mrfi_files(1));
    return all;
}

bool contains(const std::string& words, const std::string& word) {
    return (" " + words + " ").find(" " + word + " ") != std::string::npos;
}

bool uses(const File& file, const std::string& function) {
    return contains(file.readers, function) || contains(file.writers, function);
}

/** An error of the system about a file, in words. */
Failure failure_of(const std::string& path, const std::string& act, int error) {
    if (error == ENOENT || error == ENOTDIR) return {Status::failed, path + " is missing", "is this the device?"};
    if (error == EACCES || error == EPERM) {
        const std::string owner = owner_of(path);
        return {Status::not_permitted,
                "not permitted to " + act + " " + path + (owner.empty() ? "" : " (" + owner + ")"),
                "see velmorctl(1), PERMISSIONS"};
    }
    return {Status::failed, "cannot " + act + " " + path + ": " + std::strerror(error), ""};
}

using Words = std::vector<std::string>;

Words words_of(const std::string& text) {
    std::istringstream rest(text);
    Words words;
    for (std::string word; rest >> word;) words.push_back(word);
    return words;
}

bool is_number(const std::string& word) {
    int number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    return error == std::errc() && end == word.data() + word.size();
}

/** Up to 8 hexadecimal digits, with or without "0x". */
bool is_address(const std::string& word) {
    constexpr std::size_t most_digits = 8;
    const std::string digits = word.starts_with("0x") ? word.substr(2) : word;
    return !digits.empty() && digits.size() <= most_digits &&
           digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

/** The list ends at an empty line. */
bool lines_begin_with_addresses(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line) && !line.empty();) {
        const Words words = words_of(line);
        if (words.empty() || !is_address(words.front())) return false;
    }
    return true;
}

/** What a text should be, in words; nullptr if it is well-formed. */
const char* expected(Text text, const std::string& content) {
    const Words words = words_of(content);
    const std::string word = words.empty() ? "" : words.front();
    const bool alone = words.size() == 1;
    const auto is_one_of = [&](std::initializer_list<const char*> choices) {
        return alone && std::ranges::find(choices, word) != choices.end();
    };
    const auto unless = [](bool well_formed, const char* wanted) { return well_formed ? nullptr : wanted; };
    switch (text) {
        case Text::number: return unless(alone && is_number(word), "a number");
        case Text::numbers: return unless(words.size() == 3 && std::ranges::all_of(words, is_number), "three numbers");
        case Text::flag: return unless(is_one_of({"0", "1"}), "0 or 1");
        case Text::word: return unless(!words.empty(), "a word");
        case Text::release: return unless(words.size() == 2, "a version and a date");
        case Text::table_version: return unless(is_one_of({"1", "2", "3"}), "1, 2 or 3");
        case Text::table:
            // The library only looks for the "x".
            return unless(alone && word.find('x') != std::string::npos, "0x and hexadecimal digits");
        case Text::trip_type:
            return unless(is_one_of({"active", "hot", "very_hot", "critical"}), "active, hot, very_hot or critical");
        case Text::address: return unless(alone && is_address(word), "an address of up to 8 hexadecimal digits");
        case Text::addresses: return unless(lines_begin_with_addresses(content), "lines that begin with an address");
        case Text::any:
        case Text::write_only:
        case Text::node:
        case Text::program: break;
    }
    return nullptr;
}

/** The text in one line, shortened, without characters that a terminal obeys. */
std::string quoted(const std::string& content) {
    constexpr std::size_t longest = 40;
    std::string text = content.substr(0, longest);
    while (!text.empty() && text.back() == '\n') text.pop_back();
    for (char& each : text)
        if (static_cast<unsigned char>(each) < ' ' || each == '\x7F') each = '?';
    return "\"" + text + (content.size() > longest ? "..." : "") + "\"";
}

std::optional<Failure> problem_of_text(const std::string& path, Text text) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return failure_of(path, "read", errno);
    char page[4096];
    const ssize_t length = ::read(fd, page, sizeof page);
    const int error = errno;
    ::close(fd);
    if (length < 0) return failure_of(path, "read", error);
    const std::string content(page, static_cast<std::size_t>(length));
    const char* const wanted = expected(text, content);
    if (wanted == nullptr) return std::nullopt;
    return Failure{Status::failed, path + " reads " + quoted(content) + " instead of " + wanted};
}

}  // namespace

const std::vector<File>& files() {
    static const std::vector<File> all = all_files();
    return all;
}

bool reads(const std::string& function, const File& file) {
    return contains(file.readers, function);
}

std::vector<File> files_of(const std::string& function, int index) {
    std::vector<File> found;
    for (const int wanted : {index, any_index}) {
        if (!found.empty()) break;  // an IO line of another kind is no GPIO line
        for (const File& file : files())
            if (file.index == wanted && uses(file, function)) found.push_back(file);
    }
    return found;
}

std::vector<File> files_written_at_start() {
    std::vector<File> found;
    std::ranges::copy_if(files(), std::back_inserter(found),
                         [](const File& file) { return contains(file.writers, "start") && !existing(file).empty(); });
    return found;
}

std::string source_of(const std::string& function, int index) {
    std::string sources;
    for (const File& file : files_of(function, index)) {
        if (file.path.find('*') == std::string::npos && existing(file).empty()) return "";
        sources += (sources.empty() ? "" : " ") + file.path;
    }
    return sources;
}

std::vector<std::string> existing(const File& file) {
    glob_t found = {};
    std::vector<std::string> paths;
    if (::glob(file.path.c_str(), 0, nullptr, &found) == 0)
        paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    ::globfree(&found);
    return paths;
}

std::string owner_of(const std::string& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) return "";
    const passwd* const owner = ::getpwuid(status.st_uid);   // NOLINT(concurrency-mt-unsafe): there is one thread
    const group* const members = ::getgrgid(status.st_gid);  // NOLINT(concurrency-mt-unsafe)
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(status.st_mode & 07777U));
    return (owner == nullptr ? std::to_string(status.st_uid) : owner->pw_name) + ":" +
           (members == nullptr ? std::to_string(status.st_gid) : members->gr_name) + " " + mode;
}

std::optional<Failure> problem_of(const std::string& path, Text text, bool reading, bool writing) {
    if (text == Text::program) {
        if (::access(path.c_str(), X_OK) != 0) return failure_of(path, "run", errno);
        return std::nullopt;
    }
    if (writing && ::access(path.c_str(), W_OK) != 0) return failure_of(path, "write", errno);
    if (!reading) return std::nullopt;
    if (text != Text::node) return problem_of_text(path, text);
    if (::access(path.c_str(), R_OK) != 0) return failure_of(path, "read", errno);
    return std::nullopt;
}

std::optional<Failure> problem_of_call(const std::string& function, int index, bool start_failed) {
    std::vector<File> suspects;
    if (!start_failed) suspects = files_of(function, index);
    // A thermal zone whose trip points could not be read at the start fails later.
    const std::string family = suspects.empty() ? "" : suspects.front().family;
    for (const File& file : files())
        if (uses(file, "start") && (start_failed || (file.family == family && file.index == index)))
            suspects.push_back(file);
    for (const File& file : suspects) {
        const bool comes_and_goes = file.path.find('*') != std::string::npos;
        if (comes_and_goes || (start_failed && file.fitted == Fitted::other_boards && existing(file).empty())) continue;
        const bool at_start = start_failed || !uses(file, function);
        const std::string user = at_start ? "start" : function;
        const bool writing = contains(file.writers, user);
        if (auto problem = problem_of(file.path, file.text, contains(file.readers, user), writing)) return problem;
    }
    return std::nullopt;
}

}  // namespace VelmorCtl
