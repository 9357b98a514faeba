// SPDX-License-Identifier: MIT
#include <limits>

#include "common/settings.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/number_attribute.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

const Kind thermal_kind("thermal", [](Model& model, const std::string& name, Settings& settings) {
    constexpr std::int64_t coldest = -273150;  // 1/1000 degree Celsius
    constexpr std::int64_t hottest = std::numeric_limits<std::int32_t>::max();
    const auto path = device_path(settings);
    const auto place = device_place(settings, path);
    Directory& zone = model.tree.class_device(path, place);
    auto& temp = model.tree.add<NumberAttribute>(zone, "temp", mode_t{0444}, settings.number("temp", coldest, hottest),
                                                 coldest, hottest);
    temp.meaning = "1/1000 degree Celsius";
    model.name(name + ".temp", temp);
    model.tree.add<TextAttribute>(zone, "type", mode_t{0444}, settings.text("type", "imx_thermal_zone"));
    int number = 0;
    for (auto& trip : settings.objects("trips")) {
        const auto point = "trip_point_" + std::to_string(number++);
        const auto value = std::string(name).append(".").append(point);
        auto& limit = model.tree.add<NumberAttribute>(zone, point + "_temp", mode_t{0444},
                                                      trip.number("temp", coldest, hottest), coldest, hottest);
        limit.meaning = "1/1000 degree Celsius";
        auto& type = model.tree.add<TextAttribute>(zone, point + "_type", mode_t{0444}, trip.text("type"));
        model.name(value + "_temp", limit);
        model.name(value + "_type", type);
        trip.finish();
    }
});

}  // namespace VelmorSim
