// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/computed_attribute.h"
#include "tree/number_attribute.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

namespace {

/** The files of an exported line. */
constexpr std::array line_files = {"direction", "value", "edge", "active_low"};

struct Chip {
    std::int64_t base;
    std::int64_t lines;
};

/** One line. Direction and level belong to the hardware, so they survive an unexport. */
struct Line {
    bool output = false;
    bool level = false;
    bool active_low = false;
    bool exported = false;
    std::string edge = "none";
    Directory* directory = nullptr;
    Attribute* value = nullptr;
};

class Gpio {
public:
    Gpio(Model& model, std::string path, std::string place)
        : model_(model), path_(std::move(path)), place_(std::move(place)) {}

    std::vector<Chip> chips;
    /** Lines that a driver has claimed: they cannot be exported. */
    std::set<std::int64_t> claimed;

    bool has(std::int64_t number) const {
        return std::any_of(chips.begin(), chips.end(), [number](const Chip& chip) {
            return number >= chip.base && number < chip.base + chip.lines;
        });
    }
    /** Nothing else may be where an export puts a line. */
    void reserve_lines(const Chip& chip) {
        for (auto number = chip.base; number < chip.base + chip.lines; number++) {
            model_.tree.reserve(path_of(number), line_files);
            if (path_ != place_) model_.tree.reserve(place_of(number));
        }
    }
    Line& line(std::int64_t number) { return lines_[number]; }

    int export_line(std::string_view text) {
        std::int64_t number = 0;
        if (const int result = parse_number(text, number); result < 0) return result;
        if (!has(number)) return -EINVAL;
        Line& line = lines_[number];
        if (line.exported || claimed.contains(number)) return -EBUSY;
        if (line.directory == nullptr) make_directory(number, line);
        line.exported = true;
        line.active_low = false;
        line.edge = "none";
        model_.tree.show(path_of(number), place_of(number), *line.directory);
        return 0;
    }

    int unexport_line(std::string_view text) {
        std::int64_t number = 0;
        if (const int result = parse_number(text, number); result < 0) return result;
        const auto line = lines_.find(number);
        if (line == lines_.end() || !line->second.exported) return -EINVAL;
        line->second.exported = false;
        model_.tree.hide(path_of(number), place_of(number));
        return 0;
    }

    void drive(Line& line, bool level) {
        if (line.level == level) return;
        line.level = level;
        const std::string edge = level != line.active_low ? "rising" : "falling";
        if (line.value != nullptr && (line.edge == "both" || line.edge == edge)) line.value->notify();
    }

private:
    std::string path_of(std::int64_t number) const { return path_ + "/gpio" + std::to_string(number); }
    std::string place_of(std::int64_t number) const { return place_ + "/gpio" + std::to_string(number); }

    void make_directory(std::int64_t number, Line& line) {
        constexpr mode_t rw = 0644;
        line.directory = &model_.tree.passing_class_device(path_of(number), place_of(number));
        Directory& directory = *line.directory;
        auto& direction = model_.tree.add<ComputedAttribute>(
            directory, "direction", rw, [&line] { return std::string(line.output ? "out\n" : "in\n"); },
            [this, &line](std::string_view text) { return set_direction(line, without_newline(text)); });
        direction.meaning = "in or out";
        auto& value = model_.tree.add<ComputedAttribute>(
            directory, "value", rw, [&line] { return std::string(line.level != line.active_low ? "1\n" : "0\n"); },
            [this, &line](std::string_view text) { return set_value(line, text); });
        value.meaning = "0 low, 1 high";
        line.value = &value;
        model_.tree.add<ComputedAttribute>(
            directory, "edge", rw, [&line] { return line.edge + "\n"; },
            [&line](std::string_view text) { return set_edge(line, without_newline(text)); });
        model_.tree.add<ComputedAttribute>(
            directory, "active_low", rw, [&line] { return std::string(line.active_low ? "1\n" : "0\n"); },
            [&line](std::string_view text) {
                std::int64_t flag = 0;
                if (const int result = parse_number(text, flag); result < 0) return result;
                line.active_low = flag != 0;
                return 0;
            });
    }

    int set_direction(Line& line, std::string_view text) {
        if (text == "in") {
            line.output = false;
            return 0;
        }
        if (text != "out" && text != "low" && text != "high") return -EINVAL;
        line.output = true;
        drive(line, text == "high");
        return 0;
    }

    int set_value(Line& line, std::string_view text) {
        if (!line.output) return -EPERM;
        std::int64_t number = 0;
        if (const int result = parse_number(text, number); result < 0) return result;
        drive(line, (number != 0) != line.active_low);
        return 0;
    }

    static int set_edge(Line& line, std::string_view text) {
        if (text != "none" && text != "rising" && text != "falling" && text != "both") return -EINVAL;
        line.edge = text;
        return 0;
    }

    Model& model_;
    std::string path_;
    std::string place_;
    std::map<std::int64_t, Line> lines_;
};

std::unique_ptr<Value> level_value(Gpio& gpio, std::string_view text) {
    const auto number = plain_number(text);
    if (!number || !gpio.has(*number)) return nullptr;
    Line& line = gpio.line(*number);
    return std::make_unique<ComputedValue>([&line] { return std::string(line.level ? "1" : "0"); },
                                           [&gpio, &line](std::string_view level) -> std::string {
                                               if (line.output) return "left out: the line is an output now";
                                               if (level != "0" && level != "1") return "0 or 1";
                                               gpio.drive(line, level == "1");
                                               return {};
                                           });
}

}  // namespace

const Kind gpio_kind("gpio", [](Model& model, const std::string& name, Settings& settings) {
    constexpr std::int64_t most = 1024;
    const auto path = device_path(settings);
    auto& gpio = model.part<Gpio>(model, path, device_place(settings, path));
    for (auto& chip : settings.objects("chips")) {
        const Chip made{chip.number("base", 0, most), chip.number("lines", 1, most)};
        Directory& device = model.tree.class_device(path + "/gpiochip" + std::to_string(made.base),
                                                    "/sys/devices/virtual/gpio/gpiochip" + std::to_string(made.base));
        model.tree.add<NumberAttribute>(device, "base", mode_t{0444}, made.base, 0, most);
        model.tree.add<NumberAttribute>(device, "ngpio", mode_t{0444}, made.lines, 0, most);
        model.tree.add<TextAttribute>(device, "label", mode_t{0444}, chip.text("label", "gpio-mxc"));
        gpio.reserve_lines(made);
        gpio.chips.push_back(made);
        chip.finish();
    }
    if (gpio.chips.empty()) settings.refuse("chips", R"(a list of at least one {"base": 0, "lines": 32})");
    for (const auto number : settings.numbers("claimed", 0, most)) gpio.claimed.insert(number);
    for (const auto number : settings.numbers("high", 0, most)) gpio.line(number).level = true;

    constexpr mode_t write_only = 0200;
    model.tree.add<ComputedAttribute>(path + "/export", write_only, nullptr,
                                      [&](std::string_view text) { return gpio.export_line(text); });
    model.tree.add<ComputedAttribute>(path + "/unexport", write_only, nullptr,
                                      [&](std::string_view text) { return gpio.unexport_line(text); });
    model.name_family(name + ".", [&](std::string_view text) { return level_value(gpio, text); });
});

}  // namespace VelmorSim
