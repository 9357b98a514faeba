// SPDX-License-Identifier: MIT
//
// Compares ways to read and write one attribute: this library's functions, the same by hand (the floor) and what an
// application could use instead. Every round runs all of them once, in an order of its own, so that ratios are formed
// between measurements that are close in time. Runs only with the files of bench/enclosure at the device's paths.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <iio.h>
#include <sensors/sensors.h>
#include <systemd/sd-device.h>
#include <unistd.h>
#include <velmor.h>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr char line[] = "/sys/devices/platform/gps.0/enable";
constexpr char output_line[] = "/sys/devices/platform/echosounder.0/reset";
constexpr char brightness[] = "/sys/class/backlight/pwm-backlight.0/brightness";
constexpr char hwmon_input[] = "/sys/class/hwmon/hwmon0/temp1_input";
constexpr char iio_raw[] = "/sys/bus/iio/devices/iio:device0/in_voltage0_raw";
constexpr char gps_device[] = "/sys/devices/platform/gps.0";

bool read_by_hand(const char* path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    std::array<char, 64> text;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    const ssize_t length = read(fd, text.data(), text.size() - 1);
    close(fd);
    if (length <= 0) return false;
    text[static_cast<std::size_t>(length)] = '\0';
    long number = std::strtol(text.data(), nullptr, 10);
    benchmark::DoNotOptimize(number);
    return true;
}

bool write_by_hand(const char* path, int number) {
    const int fd = open(path, O_WRONLY | O_TRUNC | O_CLOEXEC);
    std::array<char, 16> text;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    const auto length = std::to_chars(text.begin(), text.end(), number).ptr - text.begin();
    const bool written = write(fd, text.data(), static_cast<std::size_t>(length)) == length;
    close(fd);
    return written;
}

bool read_thermal_zone_by_hand() {
    const std::string zone = "/sys/class/thermal/thermal_zone0/";
    return read_by_hand((zone + "temp").c_str()) && read_by_hand((zone + "trip_point_0_temp").c_str()) &&
           read_by_hand((zone + "trip_point_1_temp").c_str()) && read_by_hand((zone + "trip_point_2_temp").c_str()) &&
           read_by_hand((zone + "trip_point_3_temp").c_str());
}

bool read_through_stream() {
    std::ifstream file(line);
    int number = 0;
    file >> number;
    benchmark::DoNotOptimize(number);
    return file.good();
}

bool read_through_stdio() {
    std::FILE* file = std::fopen(line, "r");
    int number = 0;
    const bool read = file != nullptr && std::fscanf(file, "%d", &number) == 1;
    if (file != nullptr) std::fclose(file);
    benchmark::DoNotOptimize(number);
    return read;
}

bool write_through_stream() {
    std::ofstream file(output_line);
    file << 1;
    file.close();
    return file.good();
}

bool write_through_stdio() {
    std::FILE* file = std::fopen(output_line, "w");
    return file != nullptr && std::fprintf(file, "%d", 1) == 1 && std::fclose(file) == 0;
}

struct Sensor {
    const sensors_chip_name* chip = nullptr;
    int subfeature = -1;
};

const Sensor& sensor() {
    static const Sensor found = [] {
        Sensor sensor;
        int number = 0;
        if (sensors_init(nullptr) != 0) return sensor;
        sensor.chip = sensors_get_detected_chips(nullptr, &number);
        number = 0;
        const sensors_feature* feature = sensor.chip == nullptr ? nullptr : sensors_get_features(sensor.chip, &number);
        if (feature == nullptr) return sensor;
        const auto* input = sensors_get_subfeature(sensor.chip, feature, SENSORS_SUBFEATURE_TEMP_INPUT);
        if (input != nullptr) sensor.subfeature = input->number;
        return sensor;
    }();
    return found;
}

bool read_through_libsensors() {
    double number = 0;
    const bool read = sensor().subfeature >= 0 && sensors_get_value(sensor().chip, sensor().subfeature, &number) == 0;
    benchmark::DoNotOptimize(number);
    return read;
}

iio_channel* channel() {
    static iio_channel* const found = []() -> iio_channel* {
        iio_context* context = iio_create_local_context();
        iio_device* device = context == nullptr ? nullptr : iio_context_find_device(context, "iio:device0");
        return device == nullptr ? nullptr : iio_device_find_channel(device, "voltage0", false);
    }();
    return found;
}

bool read_through_libiio() {
    long long number = 0;
    const bool read = channel() != nullptr && iio_channel_attr_read_longlong(channel(), "raw", &number) == 0;
    benchmark::DoNotOptimize(number);
    return read;
}

// With a new object for each call: one that is kept returns its cached value for ever.
bool read_through_sd_device() {
    sd_device* device = nullptr;
    if (sd_device_new_from_syspath(&device, gps_device) < 0) return false;
    const char* text = nullptr;
    const bool read = sd_device_get_sysattr_value(device, "enable", &text) >= 0;
    long number = read ? std::strtol(text, nullptr, 10) : 0;
    benchmark::DoNotOptimize(number);
    sd_device_unref(device);
    return read;
}

bool get_io() {
    io_value_t value = 0;
    const bool got = io_get(9, &value) == 0;
    benchmark::DoNotOptimize(value);
    return got;
}

bool get_backlight() {
    std::uint32_t level = 0;
    const bool got = backlight_get(0, &level) == 0;
    benchmark::DoNotOptimize(level);
    return got;
}

bool get_thermal_state() {
    thermal_state_t state;
    const bool got = thermal_state_get(0, &state) == 0;
    benchmark::DoNotOptimize(state);
    return got;
}

struct Way {
    const char* attribute;  // each attribute has a floor
    const char* name;
    bool (*call)();
};

// clang-format off
constexpr Way ways[] = {
    {"line",       "floor",             [] { return read_by_hand(line); }},
    {"line",       "io_get",            get_io},
    {"line",       "ifstream",          read_through_stream},
    {"line",       "fscanf",            read_through_stdio},
    {"line",       "sd-device",         read_through_sd_device},
    {"hwmon",      "floor",             [] { return read_by_hand(hwmon_input); }},
    {"hwmon",      "libsensors",        read_through_libsensors},
    {"iio",        "floor",             [] { return read_by_hand(iio_raw); }},
    {"iio",        "libiio",            read_through_libiio},
    {"brightness", "floor",             [] { return read_by_hand(brightness); }},
    {"brightness", "backlight_get",     get_backlight},
    {"zone",       "floor",             read_thermal_zone_by_hand},
    {"zone",       "thermal_state_get", get_thermal_state},
    {"output",     "floor",             [] { return write_by_hand(output_line, 1); }},
    {"output",     "io_set",            [] { return io_set(11, 1) == 0; }},
    {"output",     "ofstream",          write_through_stream},
    {"output",     "fprintf",           write_through_stdio},
};
// clang-format on

[[maybe_unused]] void run(benchmark::State& state, bool (*call)()) {
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
        if (!call()) state.SkipWithError("failed");
    }
}

void enter([[maybe_unused]] const std::string& name, [[maybe_unused]] bool (*call)(), [[maybe_unused]] int calls,
           [[maybe_unused]] int threads) {
#ifndef __clang_analyzer__  // the analyzer takes the benchmark library's list for a leak
    benchmark::RegisterBenchmark(name.c_str(), run, call)->Iterations(calls)->Threads(threads)->UseRealTime();
#endif
}

std::vector<Way> possible_ways() {
    std::vector<Way> possible;
    for (const Way& way : ways) {
        if (way.call()) {
            possible.push_back(way);
        } else {
            std::cerr << way.attribute << '/' << way.name << " cannot be used here\n";
        }
    }
    return possible;
}

int compare(int rounds, int repeats, int thread_repeats) {
    std::mt19937 order(20);
    std::vector<Way> possible = possible_ways();
    const auto add = [](int round, const Way& way, const std::string& attribute, int calls, int threads) {
        enter(std::to_string(round) + '/' + attribute + '/' + way.name, way.call, calls, threads);
    };
    for (int round = 0; round < rounds; ++round) {
        std::shuffle(possible.begin(), possible.end(), order);
        for (const Way& way : possible) add(round, way, way.attribute, repeats, 1);
    }
    for (int round = 0; round < rounds && thread_repeats > 0; ++round) {
        std::vector<std::pair<Way, int>> entries;
        for (const Way& way :
             {Way{"", "floor", [] { return read_by_hand(brightness); }}, Way{"", "backlight_get", get_backlight}}) {
            for (const int threads : {1, 2}) entries.emplace_back(way, threads);
        }
        std::shuffle(entries.begin(), entries.end(), order);
        for (const auto& [way, threads] : entries) {
            add(round, way, "threads" + std::to_string(threads), thread_repeats, threads);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

int repeat(const std::string& wanted, long count) {
    for (const Way& way : ways) {
        if (std::string(way.attribute) + '/' + way.name != wanted) continue;
        for (; count > 0; --count) {
            if (!way.call()) return 1;
        }
        return 0;
    }
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);  // makes sd-device accept these files as the kernel's
    benchmark::Initialize(&argc, argv);
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() == 3 && words[0] == "once") return repeat(words[1], std::stol(words[2]));
    if (words.size() == 4 && words[0] == "compare") {
        return compare(std::stoi(words[1]), std::stoi(words[2]), std::stoi(words[3]));
    }
    std::cerr << "usage: compare compare ROUNDS CALLS THREAD-CALLS [--benchmark_...]\n"
                 "       compare once ATTRIBUTE/WAY COUNT\n";
    return 2;
}
