// SPDX-License-Identifier: MIT
#include "objects.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <utility>

#include "call.h"
#include "files.h"
#include "numbers.h"

namespace VelmorCtl {

namespace {

constexpr int io_lines = 12;  // they are numbered from 0

/** An object's items, which one call of the library reads. */
class Query {
public:
    Query(std::string object, std::optional<int> index, std::string function)
        : object_(std::move(object)), index_(index), function_(std::move(function)) {}

    /** False if the call failed: the report is then its failure. */
    bool succeeds(const std::string& name, const std::function<int()>& function_call) {
        auto failure = call(function_, index_.value_or(0), function_call);
        if (!failure) {
            source_ = source_of(function_, index_.value_or(0));
            return true;
        }
        Item item{object_, index_, name};
        item.failure = std::move(failure);
        report.push_back(item);
        return false;
    }

    Item& add(const std::string& name, Json value, const std::string& unit = "", const std::string& text = "") {
        report.push_back({object_, index_, name, std::move(value), unit, source_});
        report.back().text = text;
        return report.back();
    }

    Report report;

private:
    std::string object_;
    std::optional<int> index_;
    std::string function_;
    std::string source_;
};

Report operator+(Report first, const Report& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// ---- Lighting -------------------------------------------------------------------------------------------------------

Report backlight(int index) {
    Query query("backlight", index, "backlight_get");
    std::uint32_t level = 0;
    if (!query.succeeds("level", [&] { return backlight_get(index, &level); })) return query.report;
    query.add("level", level, "level", std::to_string(level) + " of 255");
    BacklightSteps steps;
    Item percent{"backlight", index, "percent"};
    percent.failure = read_steps(index, steps);
    if (!percent.failure) percent = percent_item(index, steps.percent_of(level), query.report.front().source);
    query.report.push_back(percent);
    return query.report;
}

Report display(int index) {
    Query query("display", index, "display_get");
    bool on = false;
    if (query.succeeds("on", [&] { return display_get(index, &on); })) query.add("on", on, "", on ? "on" : "off");
    return query.report;
}

Report led(int index) {
    Query query("led", index, "led_color_get");
    led_color_t color = {};
    if (query.succeeds("color", [&] { return led_color_get(index, &color); })) query.add("color", text_of(color));
    return query.report;
}

// ---- IO lines -------------------------------------------------------------------------------------------------------

/** True if this line has a driver's attribute: reading it changes nothing. */
bool is_attribute(int line) {
    return std::ranges::any_of(files(), [line](const File& file) {
        const bool is_pwm = file.path.ends_with("/status");
        return file.index == line && file.readers == "io_get" && !is_pwm && !existing(file).empty();
    });
}

/** The failure to start the board, or nothing. Without this, each call would try again and fail alike. */
Report failed_start(const std::string& object) {
    Query query(object, std::nullopt, "es_present");
    bool unused = false;
    query.succeeds("start", [&] { return es_present(&unused); });
    return query.report;
}

/** The lines whose level can be read without making them inputs. */
Report io(int /*index*/) {
    Report report = failed_start("io");
    if (!report.empty()) return report;
    for (int line = 0; line < io_lines; ++line) {
        const Report configuration = io_configuration(line);
        const bool is_pwm = !is_absent(configuration);
        if (is_pwm || is_attribute(line)) {
            const Report level = io_level(line);
            if (!is_absent(level)) report = report + level;
        }
        if (is_pwm) report = report + configuration;
    }
    Item others{"io", std::nullopt, "other lines"};
    others.note = "not read: reading a GPIO line makes it an input; velmorctl io get LINE reads it";
    report.push_back(others);
    return report;
}

// ---- Sensors and radios ---------------------------------------------------------------------------------------------

std::string celsius(int millidegrees) {
    char text[24];
    std::snprintf(text, sizeof text, "%.1f °C", millidegrees / 1000.0);
    return text;
}

/** The temperature between 0 and the critical trip point, with marks at the others. */
std::string thermometer(const thermal_state_t& state) {
    if (state.critical <= 0) return "";
    std::string scale = bar(static_cast<double>(state.temp) / state.critical);
    const auto places = static_cast<double>(scale.size() - 2);
    for (const int trip : {state.active, state.hot, state.very_hot}) {
        const double place = 1 + std::floor(places * trip / state.critical);
        if (place >= 1 && place <= places) scale[static_cast<std::size_t>(place)] = '|';
    }
    return "  " + scale;
}

Report thermal(int zone) {
    Query query("thermal", zone, "thermal_state_get");
    thermal_state_t state = {};
    if (!query.succeeds("temperature", [&] { return thermal_state_get(zone, &state); })) return query.report;
    const auto add = [&](const char* name, int millidegrees, const std::string& more = "") {
        query.add(name, millidegrees, "mdegC", celsius(millidegrees) + more);
    };
    add("temperature", state.temp, thermometer(state));
    query.report.front().alarming = state.temp >= state.hot;
    add("active", state.active);
    add("hot", state.hot);
    add("very hot", state.very_hot);
    add("critical", state.critical);
    return query.report;
}

Item absent(const std::string& object) {
    Item item{object, std::nullopt, "fitted", false};
    item.failure = {Status::not_fitted, "not fitted on this unit, by its hardware table", ""};
    return item;
}

/** A radio, if the hardware table says that it is fitted. */
template <typename Info>
Report radio(const std::string& object, int (*present)(bool*), int (*info_get)(Info*)) {
    Query query(object, std::nullopt, object + "_present");
    bool fitted = false;
    if (!query.succeeds("fitted", [&] { return present(&fitted); })) return query.report;
    if (!fitted) return {absent(object)};
    query.add("fitted", true, "", "yes");
    Query description(object, std::nullopt, object + "_info_get");
    Info info = {};
    if (description.succeeds("interface", [&] { return info_get(&info); })) {
        description.add("interface", std::string(info.name));
        description.add("value", info.value);
    }
    return query.report + description.report;
}

Report wifi(int /*index*/) {
    return radio("wifi", wifi_present, wifi_info_get);
}

Report bluetooth(int /*index*/) {
    return radio("bluetooth", bluetooth_present, bluetooth_info_get);
}

Report gps(int /*index*/) {
    Query query("gps", std::nullopt, "gps_info_get");
    gps_info_t info = {};
    if (query.succeeds("value 1", [&] { return gps_info_get(&info); })) {
        query.add("value 1", info.value1);
        query.add("value 2", info.value2);
    }
    return query.report;
}

Report echosounder(int /*index*/) {
    Query query("echosounder", std::nullopt, "es_present");
    bool fitted = false;
    if (!query.succeeds("fitted", [&] { return es_present(&fitted); })) return query.report;
    if (!fitted) return {absent("echosounder")};
    query.add("fitted", true, "", "yes");
    return query.report;
}

Report attitude(int /*index*/) {
    Query query("attitude", std::nullopt, "attitude_get");
    attitude_t axes = {};
    if (query.succeeds("x", [&] { return attitude_get(&axes); })) {
        query.add("x", axes.x);
        query.add("y", axes.y);
        query.add("z", axes.z);
    }
    return query.report;
}

Report motion(int /*index*/) {
    Query query("motion", std::nullopt, "car_motion_get");
    car_motion_t state = {};
    if (query.succeeds("speed", [&] { return car_motion_get(&state); })) {
        query.add("speed", state.speed);
        query.add("reverse", state.reverse, "", state.reverse ? "yes" : "no");
    }
    return query.report;
}

// ---- Identity -------------------------------------------------------------------------------------------------------

/** Version, status, build and date of a piece of software. */
struct Release {
    int major;
    int minor;
    int revision;
    char status;
    int build;
    int development;
    int day;
    int month;
    int year;
};

void add_release(Query& query, const std::string& name, const Release& release) {
    char version[40];
    char date[40];
    std::snprintf(version, sizeof version, "%d.%d.%d", release.major, release.minor, release.revision);
    std::snprintf(date, sizeof date, "%04d-%02d-%02d", release.year, release.month, release.day);
    const std::string status = release.status == '\0' ? "" : std::string(1, release.status);
    query.add(name,
              {{"version", std::string(version)},
               {"status", status},
               {"build", release.build},
               {"development", release.development},
               {"date", std::string(date)}},
              "",
              std::string(version) + " " + status + ", build " + std::to_string(release.build) +
                  (release.development != 0 ? ", development" : "") + ", " + date);
}

Report versions() {
    Query query("platform", std::nullopt, "platform_info_get");
    platform_info_t info = {};
    if (!query.succeeds("serial number", [&] { return platform_info_get(&info, sizeof info); })) return query.report;
    Item& serial_number = query.add("serial number", std::string(info.serial_number));
    if (*info.serial_number == '\0') {  // which the library does not count as a failure
        serial_number.value = Json();
        serial_number.note = "none, or not readable";
    }
    add_release(
        query, "operating system",
        {info.os_version_major, info.os_version_minor, info.os_version_revision, info.os_version_status,
         info.os_version_build, info.os_version_development, info.os_date_day, info.os_date_month, info.os_date_year});
    add_release(
        query, "root file system",
        {info.fs_version_major, info.fs_version_minor, info.fs_version_revision, info.fs_version_status,
         info.fs_version_build, info.fs_version_development, info.fs_date_day, info.fs_date_month, info.fs_date_year});
    add_release(query, "boot loader",
                {info.boot_version_major, info.boot_version_minor, info.boot_version_revision, info.boot_version_status,
                 info.boot_version_build, info.boot_version_development, info.boot_date_day, info.boot_date_month,
                 info.boot_date_year});
    add_release(query, "splash screen",
                {info.splash_version_major, info.splash_version_minor, info.splash_version_revision,
                 info.splash_version_status, info.splash_version_build, info.splash_version_development,
                 info.splash_date_day, info.splash_date_month, info.splash_date_year});
    query.add("compatibility version", info.compatibility_version);
    return query.report;
}

template <typename Number>
Report identifier(const std::string& name, const std::string& function, int (*get)(Number*)) {
    Query query("platform", std::nullopt, function);
    Number number = 0;
    if (query.succeeds(name, [&] { return get(&number); })) query.add(name, number);
    return query.report;
}

Report platform(int /*index*/) {
    return versions() + identifier("unit", "platform_uid_get", platform_uid_get) +
           identifier("OEM", "platform_oemid_get", platform_oemid_get) +
           identifier("model", "platform_mid_get", platform_mid_get) +
           identifier("CAN manufacturer", "platform_can_manuf_code_get", platform_can_manuf_code_get) +
           identifier("CAN unique number", "platform_can_unique_num_get", platform_can_unique_num_get);
}

// ---- Serial ports ---------------------------------------------------------------------------------------------------

Report serial(int port) {
    Query query("serial", port, "serial_device_info_get");
    serial_device_info_t info = {};
    if (query.succeeds("device", [&] { return serial_device_info_get(port, &info); })) {
        query.add("device", std::string(info.name));
        query.add("speed", info.baud_rate, "bit/s", std::to_string(info.baud_rate) + " bit/s");
        query.add("options", info.options);
    }
    return query.report;
}

// ---- MRFI -----------------------------------------------------------------------------------------------------------

Report mrfi_address(int index) {
    Query query("mrfi", index, "mrfi_address_get");
    mrfi_addr_t address = {};
    if (query.succeeds("address", [&] { return mrfi_address_get(index, &address); }))
        query.add("address", text_of(address));
    return query.report;
}

Report mrfi_number(int index, const std::string& name, const std::string& function, int (*get)(int, int*)) {
    Query query("mrfi", index, function);
    int number = 0;
    if (query.succeeds(name, [&] { return get(index, &number); })) query.add(name, number);
    return query.report;
}

Report mrfi(int index) {
    Report address = mrfi_address(index);
    if (is_absent(address)) return address;
    return address + mrfi_number(index, "type", "mrfi_type_get", mrfi_type_get) +
           mrfi_number(index, "rssi", "mrfi_rssi_get", mrfi_rssi_get) + mrfi_autolink(index);
}

Json record_of(const mrfi_device_t& device) {
    return {{"address", text_of(device.address)},
            {"value1", device.value1},
            {"value2", device.value2},
            {"name", std::string(device.name)}};
}

Json record_of(const mrfi_connection_t& connection) {
    return {{"address", text_of(connection.address)},
            {"value1", static_cast<int>(connection.value1)},
            {"value2", static_cast<int>(connection.value2)},
            {"value3", static_cast<int>(connection.value3)},
            {"flag1", connection.flag1 != 0},
            {"flag2", connection.flag2 != 0}};
}

/** "0x12340001  value1 3  value2 7  name pump" */
std::string line_of(const Json& record) {
    std::string line;
    for (const auto& [key, value] : record.items()) {
        const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        if (text.empty()) continue;
        if (!line.empty()) line.append("  ").append(key).append(" ");
        line += text;
    }
    return line;
}

struct ListFunctions {
    std::string name;  // of the list
    int (*open)(int, mrfi_enum_ctx**);
    int (*close)(mrfi_enum_ctx*);
};

template <typename Entry>
Report mrfi_list(int index, const ListFunctions& list, int (*read)(mrfi_enum_ctx*, Entry*)) {
    const std::string prefix = "mrfi_" + list.name.substr(0, list.name.size() - 1) + "_list_";
    Query query("mrfi", index, prefix + "open");
    mrfi_enum_ctx* context = nullptr;
    if (!query.succeeds(list.name, [&] { return list.open(index, &context); })) return query.report;
    Json entries = Json::array();
    std::string text;
    int result = 0;
    Entry entry = {};
    auto failure = call(prefix + "read", index, [&] {
        while ((result = read(context, &entry)) == 1) {
            entries.push_back(record_of(entry));
            text += (text.empty() ? "" : "\n") + line_of(entries.back());
        }
        return result;
    });
    const auto close_failure = call(prefix + "close", index, [&] { return list.close(context); });
    // A file that cannot be read counts as an empty list.
    if (!failure && entries.empty()) failure = problem_of_call(prefix + "open", index, false);
    if (!failure) failure = close_failure;
    Item& item = query.add(list.name, entries, "", text.empty() ? "none" : text);
    if (failure) {
        item.value = Json();
        item.failure = std::move(failure);
    }
    return query.report;
}

Report mrfi_devices(int index) {
    return mrfi_list(index, {"devices", mrfi_device_list_open, mrfi_device_list_close}, mrfi_device_list_read);
}

Report mrfi_connections(int index) {
    return mrfi_list(index, {"connections", mrfi_connection_list_open, mrfi_connection_list_close},
                     mrfi_connection_list_read);
}

/** Every index of an object: the indices that are fitted follow one another. */
Report query_indices(const Object& object) {
    Report all = object.query(0);
    for (int index = 1; object.has_index && !is_absent(all); ++index) {
        const Report next = object.query(index);
        if (is_absent(next)) break;
        all = all + next;
    }
    return all;
}

}  // namespace

const std::vector<Object>& objects() {
    static const std::vector<Object> all = {
        {"backlight", "Brightness of a backlight", true, backlight},
        {"display", "Whether a display is on", true, display},
        {"led", "Colour of a group of LEDs", true, led},
        {"io", "IO lines; GPIO lines are not read", false, io},
        {"thermal", "Temperature and trip points of a thermal zone", true, thermal},
        {"wifi", "Wi-Fi radio", false, wifi},
        {"bluetooth", "Bluetooth radio", false, bluetooth},
        {"platform", "Serial number, versions and identifiers", false, platform},
        {"gps", "Description of the GPS receiver", false, gps},
        {"echosounder", "Whether an echosounder is fitted", false, echosounder},
        {"attitude", "Axes of the attitude sensor", false, attitude},
        {"motion", "Motion of the vehicle", false, motion},
        {"serial", "Device and speed of a serial port", true, serial},
        {"mrfi", "Interface of the short-range radio network", true, mrfi},
        {"mrfi", "Devices that have been seen", true, mrfi_devices, "devices"},
        {"mrfi", "Connections", true, mrfi_connections, "connections"},
    };
    return all;
}

Report query_all() {
    Report all = failed_start("status");
    if (!all.empty()) return all;
    for (const Object& object : objects())
        if (*object.verb == '\0') all = all + query_indices(object);
    return all;
}

Report io_level(int line) {
    Query query("io", line, "io_get");
    io_value_t level = 0;
    if (query.succeeds("level", [&] { return io_get(line, &level); })) query.add("level", level);
    return query.report;
}

Report io_configuration(int line) {
    Query query("io", line, "io_config_get");
    io_config_t configuration = {};
    if (query.succeeds("frequency", [&] { return io_config_get(line, &configuration); })) {
        query.add("frequency", configuration.frequency, "Hz", std::to_string(configuration.frequency) + " Hz");
        query.add("duty", configuration.duty, "%", std::to_string(configuration.duty) + " %");
    }
    return query.report;
}

std::string function_name(int function) {
    if (function == SERIAL_ALT_FUNC_SERIAL) return "serial";
    return function == SERIAL_ALT_FUNC_KEY ? "key" : std::to_string(function);
}

Report serial_functions(int port) {
    constexpr int functions = 8;  // boards number theirs from 0
    Query query("serial", port, "serial_alt_func_has");
    Json supported = Json::array();
    std::string text;
    for (int function = 0; function < functions; ++function) {
        bool has = false;
        if (!query.succeeds("functions", [&] { return serial_alt_func_has(port, function, &has); }))
            return query.report;
        if (!has) continue;
        supported.push_back({{"name", function_name(function)}, {"function", function}});
        text += (text.empty() ? "" : ", ") + function_name(function);
    }
    query.add("functions", supported, "", text.empty() ? "none" : text);
    return query.report;
}

Report mrfi_autolink(int index) {
    Query query("mrfi", index, "mrfi_autolink_get");
    bool on = false;
    if (query.succeeds("autolink", [&] { return mrfi_autolink_get(index, &on); }))
        query.add("autolink", on, "", on ? "on" : "off");
    return query.report;
}

Report mrfi_class(const mrfi_addr_t& address) {
    Query query("mrfi", std::nullopt, "mrfi_class_get");
    std::uint32_t device_class = 0;
    if (query.succeeds("class", [&] { return mrfi_class_get(&address, &device_class); }))
        query.add("class", device_class);
    return query.report;
}

std::optional<Failure> read_steps(int index, BacklightSteps& steps) {
    for (const File& file : files()) {
        const bool is_maximum = file.path.ends_with("/max_brightness");
        if (!is_maximum || file.index != index || existing(file).empty()) continue;
        int max_brightness = 0;
        if (!(std::ifstream(file.path) >> max_brightness))
            return problem_of(file.path, file.text, true, false)
                .value_or(Failure{Status::failed, "cannot read " + file.path});
        steps = BacklightSteps(max_brightness);
    }
    return std::nullopt;
}

Item percent_item(int index, int percent, const std::string& source) {
    Item item{"backlight", index, "percent", percent, "%", source};
    item.text = std::to_string(percent) + " %  " + bar(percent / 100.0);
    return item;
}

std::string bar(double fraction) {
    constexpr std::size_t length = 20;
    const auto filled = static_cast<std::size_t>(std::lround(length * std::clamp(fraction, 0.0, 1.0)));
    return "[" + std::string(filled, '#') + std::string(length - filled, '-') + "]";
}

}  // namespace VelmorCtl
