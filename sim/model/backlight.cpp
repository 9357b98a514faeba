// SPDX-License-Identifier: MIT
#include <cerrno>

#include "common/settings.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/computed_attribute.h"
#include "tree/number_attribute.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

const Kind backlight_kind("backlight", [](Model& model, const std::string& name, Settings& settings) {
    constexpr std::int64_t most = 65535;
    constexpr std::int64_t powered_down = 4;
    const auto path = device_path(settings);
    const auto place = device_place(settings, path);
    const auto max = settings.number("max_brightness", 1, most);
    const auto now = settings.number("brightness", 0, max);

    Directory& device = model.tree.class_device(path, place);
    auto& max_brightness = model.tree.add<NumberAttribute>(device, "max_brightness", mode_t{0444}, max, 1, most);
    auto& brightness = model.tree.add<NumberAttribute>(device, "brightness", mode_t{0644}, now, 0, most);
    model.tree.add<NumberAttribute>(device, "bl_power", mode_t{0644}, 0, 0, powered_down).meaning =
        "0 on, 4 powered down";
    model.tree.add<ComputedAttribute>(
        device, "actual_brightness", mode_t{0444}, [&] { return brightness.get() + "\n"; }, nullptr);
    model.tree.add<TextAttribute>(device, "type", mode_t{0444}, "raw");
    brightness.meaning = "level, 0 to max_brightness";
    brightness.check = [&](std::int64_t level) { return level > max_brightness.value() ? -EINVAL : 0; };
    brightness.condition = "at most max_brightness";
    max_brightness.changed = [&](std::int64_t limit) {
        if (brightness.value() > limit) brightness.change(limit);
    };
    model.name(name + ".brightness", brightness);
    model.name(name + ".max_brightness", max_brightness);
});

}  // namespace VelmorSim
