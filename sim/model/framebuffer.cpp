// SPDX-License-Identifier: MIT
#include <linux/major.h>

#include <algorithm>
#include <string>

#include "common/settings.h"
#include "common/text.h"
#include "model/kind.h"
#include "model/model.h"
#include "tree/number_attribute.h"
#include "tree/text_attribute.h"

namespace VelmorSim {

namespace {

constexpr std::int64_t deepest = 4;

/** The framebuffer core parses the leading digits of what is written (none are 0) and caps the level. */
class Blank : public NumberAttribute {
public:
    explicit Blank(std::int64_t level) : NumberAttribute(0644, level, 0, deepest) {}

protected:
    int store(std::string_view text) override {
        const auto digits = text.substr(0, std::min(text.find_first_not_of("0123456789"), text.size()));
        const auto level = digits.empty() ? 0 : plain_number(digits).value_or(deepest);
        change(std::min(level, deepest));
        return 0;
    }
};

}  // namespace

const Kind framebuffer_kind("framebuffer", [](Model& model, const std::string& name, Settings& settings) {
    const auto path = device_path(settings);
    const auto place = device_place(settings, path);
    Uevent uevent;
    if (const auto number = number_behind(path, "/sys/class/graphics/fb"))
        uevent = {.node = "fb" + std::to_string(*number), .major = FB_MAJOR, .minor = *number};
    Directory& device = model.tree.class_device(path, place, uevent);
    auto& blank = model.tree.add<Blank>(device, "blank", settings.number("blank", 0, deepest));
    blank.meaning = "0 shown, 1 blanked";
    model.tree.add<TextAttribute>(device, "name", mode_t{0444}, settings.text("label", "display"));
    model.name(name + ".blank", blank);
});

}  // namespace VelmorSim
