// SPDX-License-Identifier: MIT
#include <array>
#include <cerrno>
#include <sstream>
#include <string>

#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/attribute.h"
#include "tree/number_attribute.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

namespace {

constexpr std::int64_t brightest = 255;

/** Red, green and blue, each 0 to 255, separated by spaces. */
class Color : public Attribute {
public:
    explicit Color(const std::array<std::int64_t, 3>& color) : Attribute(0644), color_(color) {}

    std::string set(std::string_view text) override {
        return store(text) == 0 ? "" : "three whole numbers from 0 to 255, separated by spaces";
    }

protected:
    int show(std::string& text) const override {
        text = std::to_string(color_[0]) + " " + std::to_string(color_[1]) + " " + std::to_string(color_[2]) + "\n";
        return 0;
    }
    int store(std::string_view text) override {
        std::istringstream words{std::string(without_newline(text))};
        std::array<std::int64_t, 3> color{};
        std::string word;
        for (auto& part : color) {
            if (!(words >> word) || parse_number(word, part) < 0 || part < 0 || part > brightest) return -EINVAL;
        }
        if (words >> word) return -EINVAL;
        color_ = color;
        forget_raw();
        notify();
        return 0;
    }

private:
    std::array<std::int64_t, 3> color_;
};

}  // namespace

const Kind led_kind("led", [](Model& model, const std::string& name, Settings& settings) {
    const auto path = device_path(settings);
    const auto place = device_place(settings, path);
    const auto now = settings.numbers("color", 0, brightest);
    if (now.size() != 3) settings.refuse("color", "a list of red, green and blue, each 0 to 255");
    Directory& device = model.tree.class_device(path, place);
    auto& color = model.tree.add<Color>(device, "color", std::array{now[0], now[1], now[2]});
    color.meaning = "red green blue, 0 to 255";
    model.name(name + ".color", color);
    auto& shown = model.tree.add<NumberAttribute>(device, "brightness", mode_t{0644}, brightest, 0, brightest);
    model.name(name + ".brightness", shown);
    model.tree.add<TextAttribute>(device, "max_brightness", mode_t{0444}, std::to_string(brightest));
});

}  // namespace VelmorSim
