// SPDX-License-Identifier: MIT
#include <array>
#include <limits>
#include <string>

#include "common/settings.h"
#include "common/text.h"
#include "model/input_class.h"
#include "model/input_device.h"
#include "model/kind.h"
#include "model/model.h"

namespace VelmorSim {

namespace {

constexpr std::array<const char*, 6> axis_names = {"x", "y", "z", "rx", "ry", "rz"};

}  // namespace

const Kind input_kind("input", [](Model& model, const std::string& name, Settings& settings) {
    using limits = std::numeric_limits<std::int32_t>;
    const auto path = device_path(settings);
    auto& device = model.tree.add<InputDevice>(path, settings.text("label", name));
    device.meaning = settings.text("meaning", "");
    auto axes = settings.object("axes");
    for (unsigned code = 0; code < axis_names.size(); code++) {
        const std::string key = axis_names.at(code);
        if (!axes.has(key)) continue;
        auto axis = axes.object(key);
        input_absinfo info{};
        info.minimum = static_cast<std::int32_t>(axis.number("minimum", limits::min(), limits::max(), -32768));
        info.maximum = static_cast<std::int32_t>(axis.number("maximum", info.minimum, limits::max(), 32767));
        info.value = static_cast<std::int32_t>(axis.number("value", info.minimum, info.maximum));
        info.fuzz = static_cast<std::int32_t>(axis.number("fuzz", 0, limits::max(), 0));
        info.flat = static_cast<std::int32_t>(axis.number("flat", 0, limits::max(), 0));
        info.resolution = static_cast<std::int32_t>(axis.number("resolution", 0, limits::max(), 0));
        axis.finish();
        device.add_axis(code, info);
        model.name(
            std::string(name).append(".").append(key),
            [&device, code] { return std::to_string(device.axis(code).value); },
            [&device, code](std::string_view text) {
                const auto& limit = device.axis(code);
                const auto value = plain_number(text);
                if (!value || *value < limit.minimum || *value > limit.maximum)
                    return range_text(limit.minimum, limit.maximum);
                device.move(code, static_cast<std::int32_t>(*value));
                return std::string();
            });
    }
    axes.finish();
    add_input_class(model, device, path, "/sys/devices/virtual");
});

}  // namespace VelmorSim
