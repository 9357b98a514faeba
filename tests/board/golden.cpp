// SPDX-License-Identifier: MIT
// What must be the same on every processor: the public records' bytes, and the backlight's levels. The program compares
// them with golden.txt wherever it is built, or prints them if it is given no file.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include "board/check.h"
#include "lighting/backlight_sysfs.h"
#include "support/files.h"
#include "velmor.h"

using testing_support::content;
using testing_support::put;
using testing_support::TemporaryDirectory;

namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

/** A record's size, alignment and bytes in memory. Bytes that are not filled are 0xee. */
template <typename Record, typename Fill>
std::string line(const char* name, Fill fill) {
    Record record;
    std::memset(&record, 0xee, sizeof record);
    fill(record);
    unsigned char bytes[sizeof record];
    std::memcpy(bytes, &record, sizeof record);
    std::ostringstream text;
    text << name << ' ' << sizeof record << ' ' << alignof(Record) << ' ' << std::hex;
    for (const unsigned byte : bytes) text << (byte < 16 ? "0" : "") << byte;
    return text.str() + '\n';
}

/** Fill a name up to its NUL, and no further. */
template <std::size_t size>
void name(char (&field)[size], const char* text) {
    std::snprintf(field, size, "%s", text);
}

std::string small_records() {
    std::string text;
    text += line<led_color_t>("led_color_t", [](auto& color) { color = {.red = 1, .green = 128, .blue = 255}; });
    text += line<io_config_t>("io_config_t", [](auto& config) { config = {.duty = -1, .frequency = 2000000}; });
    text += line<thermal_state_t>("thermal_state_t", [](auto& state) {
        state = {.temp = -40000, .active = 60000, .hot = 75000, .very_hot = 85000, .critical = lowest};
    });
    text += line<wifi_info_t>("wifi_info_t", [](auto& wifi) {
        name(wifi.name, "wlan0");
        wifi.value = 0x01020304;
    });
    text += line<bluetooth_info_t>("bluetooth_info_t", [](auto& bluetooth) {
        name(bluetooth.name, "hci0");
        bluetooth.value = 0xfffefdfc;
    });
    text += line<attitude_t>("attitude_t", [](auto& attitude) { attitude = {.x = -512, .y = 7, .z = lowest}; });
    text += line<car_motion_t>("car_motion_t", [](auto& motion) {
        motion.speed = -88;
        motion.reverse = true;
    });
    text += line<serial_device_info_t>("serial_device_info_t", [](auto& serial) {
        name(serial.name, "/dev/ttymxc4");
        serial.baud_rate = 9600;
        serial.options = 0xa1b2c3d4;
    });
    return text + line<gps_info_t>("gps_info_t", [](auto& gps) { gps = {.value1 = 1, .value2 = 0xffffffff}; });
}

constexpr mrfi_addr_t some_address = {{0x4d, 0x3c, 0x2b, 0x1a}};

std::string radio_records() {
    std::string text;
    text += line<mrfi_addr_t>("mrfi_addr_t", [](auto& address) { address = some_address; });
    const auto first = [](auto& connection) {
        connection.flag1 = 1;
        connection.flag2 = 0;
        connection.value1 = 0x1f;
        connection.value2 = 2;
        connection.value3 = 0xc4;
        connection.address = some_address;
    };
    text += line<mrfi_connection_t>("mrfi_connection_t", first);
    text += line<mrfi_connection_t>("mrfi_connection_t", [&](auto& connection) {
        first(connection);
        connection.flag1 = 0;
        connection.flag2 = 1;
        connection.reserved = 0;
    });
    text += line<mrfi_device_t>("mrfi_device_t", [](auto& device) {
        device.value1 = 3;
        device.value2 = 0x80000001;
        device.address = some_address;
        name(device.name, "fifteen-letters");
    });
    return text;
}

std::string platform_record() {
    return line<platform_info_t>("platform_info_t", [](auto& info) {
        info.os_version_major = 1;
        info.os_version_minor = 2;
        info.os_version_revision = 3;
        info.os_version_status = 'R';
        info.os_version_build = 4;
        info.os_version_development = 5;
        info.os_date_day = 6;
        info.os_date_month = 7;
        info.os_date_year = 0x0809;
        info.featuremask_low = 0x0a0b0c0d;
        info.featuremask_high = 0x0e0f1011;
        info.compatibility_version = 0x12131415;
        name(info.serial_number, "VB0012C0FFEE");
        info.boot_info_kind = 2;
        info.boot_version_major = 0x21;
        info.boot_version_minor = 0x22;
        info.boot_version_revision = 0x23;
        info.boot_version_status = 'A';
        info.boot_version_build = 0x24;
        info.boot_version_development = 0x25;
        info.boot_date_day = 0x26;
        info.boot_date_month = 0x27;
        info.boot_date_year = 0x2829;
        info.fs_version_major = 0x31;
        info.fs_version_minor = 0x32;
        info.fs_version_revision = 0x33;
        info.fs_version_status = 'B';
        info.fs_version_build = 0x34;
        info.fs_version_development = 0x35;
        info.fs_date_day = 0x36;
        info.fs_date_month = 0x37;
        info.fs_date_year = 0x3839;
        info.splash_version_major = 0x41;
        info.splash_version_minor = 0x42;
        info.splash_version_revision = 0x43;
        info.splash_version_status = 'C';
        info.splash_version_build = 0x44;
        info.splash_version_development = 0x45;
        info.splash_date_day = 0x46;
        info.splash_date_month = 0x47;
        info.splash_date_year = 0x4849;
    });
}

/** Add a number to an FNV-1a checksum, least significant byte first. */
void add(std::uint64_t& checksum, std::uint32_t number) {
    for (unsigned shift = 0; shift < 32; shift += 8) checksum = (checksum ^ ((number >> shift) & 0xff)) * 0x100000001b3;
}

/** The raw value of every level, and the level of raw values from below 0 to beyond the maximum. */
std::string levels(const TemporaryDirectory& backlight_directory, std::int32_t maximum) {
    const std::string brightness = backlight_directory / "brightness";
    put(backlight_directory / "max_brightness", std::to_string(maximum) + "\n");
    Velmor::BacklightSysFS backlight(backlight_directory.path());
    std::ostringstream text;
    std::uint64_t written = 0xcbf29ce484222325;
    std::uint64_t read = written;
    text << "levels " << maximum << " raw";
    for (unsigned level = 0; level <= 255; ++level) {
        backlight.set(level);
        const std::int64_t raw = std::stoll(content(brightness));
        add(written, static_cast<std::uint32_t>(raw));
        if (level <= 2 || level == 127 || level == 128 || level >= 254) text << ' ' << raw;
    }
    constexpr std::int64_t steps = 1024;
    const std::int64_t end = std::min<std::int64_t>(2 * std::int64_t{maximum}, highest);
    for (std::int64_t i = -1; i <= steps; ++i) {
        const std::int64_t raw = i < 0 ? -1 : end < steps ? std::min(i, end) : end * i / steps;
        put(brightness, std::to_string(raw) + "\n");
        add(read, backlight.get());
    }
    text << std::hex << " written " << written << " read " << read;
    return text.str() + '\n';
}

std::string everything() {
    std::string text = small_records() + radio_records() + platform_record();
    const TemporaryDirectory directory;
    for (const std::int32_t maximum : {1,   2,   3,   7,   10,   15,   16,   31,    100,   127,     128,
                                       254, 255, 256, 509, 1000, 1023, 4095, 32767, 65535, 1000000, highest})
        text += levels(directory, maximum);
    return text;
}

}  // namespace

int main(int count, char** words) try {
    const std::string found = everything();
    if (count != 2) {
        std::cout << found;
        return 0;
    }
    board::interface("records and levels", "(as on x86-64 and i686)");
    std::ifstream file(words[1]);
    if (!file) throw std::runtime_error(std::string(words[1]) + ": cannot be read; it should be golden.txt");
    std::istringstream lines(found);
    for (std::string is, should; std::getline(lines, is), std::getline(file, should), lines || file;)
        board::check("golden", file ? should : "nothing", lines ? is : "nothing");
    return board::end_checks();
} catch (const std::exception& exception) {
    std::cerr << "golden: " << exception.what() << '\n';
    return 2;
}
