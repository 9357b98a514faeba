// SPDX-License-Identifier: MIT
// What must be the same on every processor: the public records' bytes, and the backlight's levels. It is compared with
// one file, golden.txt, wherever it is built.

#include <unistd.h>
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
#include <string>

#include "lighting/backlight_sysfs.h"
#include "velmor.h"

namespace {

/** The record's bytes as they lie in memory. Bytes that nobody has filled are 0xee. */
template <class Record>
class Golden {
public:
    Golden() { std::memset(&record, 0xee, sizeof record); }
    std::string line(const char* name) const {
        const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(&record);
        std::ostringstream text;
        text << name << ' ' << sizeof record << ' ' << alignof(Record) << ' ' << std::hex;
        for (std::size_t i = 0; i < sizeof record; ++i) text << (bytes[i] < 16 ? "0" : "") << unsigned{bytes[i]};
        return text.str() + '\n';
    }
    Record record;
};

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();

template <std::size_t size>
void put(char (&field)[size], const char* text) {
    std::snprintf(field, size, "%s", text);
}

std::string small_records() {
    std::string text;
    Golden<led_color_t> color;
    color.record = {.red = 1, .green = 128, .blue = 255};
    text += color.line("led_color_t");

    Golden<io_config_t> config;
    config.record = {.duty = -1, .frequency = 2000000};
    text += config.line("io_config_t");

    Golden<thermal_state_t> thermal;
    thermal.record = {.temp = -40000, .active = 60000, .hot = 75000, .very_hot = 85000, .critical = lowest};
    text += thermal.line("thermal_state_t");

    Golden<wifi_info_t> wifi;
    put(wifi.record.name, "wlan0");
    wifi.record.value = 0x01020304;
    text += wifi.line("wifi_info_t");

    Golden<bluetooth_info_t> bluetooth;
    put(bluetooth.record.name, "hci0");
    bluetooth.record.value = 0xfffefdfc;
    text += bluetooth.line("bluetooth_info_t");

    Golden<attitude_t> attitude;
    attitude.record = {.x = -512, .y = 7, .z = lowest};
    text += attitude.line("attitude_t");

    Golden<car_motion_t> motion;
    motion.record.speed = -88;
    motion.record.reverse = true;
    text += motion.line("car_motion_t");

    Golden<serial_device_info_t> serial;
    put(serial.record.name, "/dev/ttymxc4");
    serial.record.baud_rate = 9600;
    serial.record.options = 0xa1b2c3d4;
    text += serial.line("serial_device_info_t");

    Golden<gps_info_t> gps;
    gps.record = {.value1 = 1, .value2 = 0xffffffff};
    return text + gps.line("gps_info_t");
}

std::string radio_records() {
    std::string text;
    Golden<mrfi_addr_t> address;
    address.record = {{0x4d, 0x3c, 0x2b, 0x1a}};
    text += address.line("mrfi_addr_t");

    Golden<mrfi_connection_t> first;
    first.record.flag1 = 1;
    first.record.flag2 = 0;
    first.record.value1 = 0x1f;
    first.record.value2 = 2;
    first.record.value3 = 0xc4;
    first.record.address = address.record;
    text += first.line("mrfi_connection_t");

    Golden<mrfi_connection_t> second = first;
    second.record.flag1 = 0;
    second.record.flag2 = 1;
    second.record.reserved = 0;
    text += second.line("mrfi_connection_t");

    Golden<mrfi_device_t> device;
    device.record.value1 = 3;
    device.record.value2 = 0x80000001;
    device.record.address = address.record;
    put(device.record.name, "fifteen-letters");
    return text + device.line("mrfi_device_t");
}

std::string platform_record() {
    Golden<platform_info_t> platform;
    platform_info_t& info = platform.record;
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
    put(info.serial_number, "VB0012C0FFEE");
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
    return platform.line("platform_info_t");
}

/** FNV-1a over numbers, least significant byte first. */
class Checksum {
public:
    void add(std::uint32_t number) {
        for (unsigned shift = 0; shift < 32; shift += 8) sum_ = (sum_ ^ ((number >> shift) & 0xff)) * 0x100000001b3;
    }
    std::uint64_t sum() const { return sum_; }

private:
    std::uint64_t sum_ = 0xcbf29ce484222325;
};

/** A backlight's directory of two plain files. */
class Directory {
public:
    Directory() {
        if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    ~Directory() {
        std::remove((path() + "/brightness").c_str());
        std::remove((path() + "/max_brightness").c_str());
        rmdir(path_.c_str());
    }
    std::string path() const { return path_; }
    void put(const char* file, std::int64_t number) const { std::ofstream(path() + file) << number << '\n'; }
    std::int64_t get(const char* file) const {
        std::int64_t number = -1;
        std::ifstream(path() + file) >> number;
        return number;
    }

private:
    // In memory where there is such a place: tens of thousands of files are written.
    std::string path_ = access("/dev/shm", W_OK) == 0 ? "/dev/shm/golden-XXXXXX" : "/tmp/golden-XXXXXX";
};

/** The raw value of every level, and the level of raw values from below 0 to beyond the maximum. */
std::string levels(const Directory& directory, std::int32_t maximum) {
    directory.put("/max_brightness", maximum);
    Velmor::BacklightSysFS backlight(directory.path());
    std::ostringstream text;
    Checksum written, read;
    text << "levels " << maximum << " raw";
    for (unsigned level = 0; level <= 255; ++level) {
        backlight.set(level);
        const std::int64_t raw = directory.get("/brightness");
        written.add(static_cast<std::uint32_t>(raw));
        if (level <= 2 || level == 127 || level == 128 || level >= 254) text << ' ' << raw;
    }
    constexpr std::int64_t steps = 1024;
    const std::int64_t end =
        std::min<std::int64_t>(2 * std::int64_t{maximum}, std::numeric_limits<std::int32_t>::max());
    for (std::int64_t i = -1; i <= steps; ++i) {
        const std::int64_t raw = i < 0 ? -1 : end < steps ? std::min(i, end) : end * i / steps;
        directory.put("/brightness", raw);
        read.add(backlight.get());
    }
    text << std::hex << " written " << written.sum() << " read " << read.sum();
    return text.str() + '\n';
}

std::string everything() {
    std::string text = small_records() + radio_records() + platform_record();
    const Directory directory;
    for (const std::int32_t maximum :
         {1,   2,   3,   7,   10,   15,   16,   31,    100,   127,     128,
          254, 255, 256, 509, 1000, 1023, 4095, 32767, 65535, 1000000, std::numeric_limits<std::int32_t>::max()})
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
    std::cout << "velmor-board: interface records and levels | (as on x86-64 and i686)\n";
    std::ifstream file(words[1]);
    if (!file) throw std::runtime_error(std::string(words[1]) + ": cannot be read; it should be golden.txt");
    std::istringstream lines(found);
    bool good = true;
    int number = 0;
    for (std::string is, should; std::getline(lines, is), std::getline(file, should), lines || file;) {
        if (!lines) is = "nothing";
        if (!file) should = "nothing";
        const bool same = is == should;
        good = good && same;
        std::cout << (same ? "ok " : "not ok ") << ++number << " - " << is << (same ? "" : " (golden: " + should + ")")
                  << '\n';
    }
    std::cout << "1.." << number << '\n';
    return good ? 0 : 1;
} catch (const std::exception& exception) {
    std::cerr << "golden: " << exception.what() << '\n';
    return 2;
}
